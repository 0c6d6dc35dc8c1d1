#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// Reads text line by line. Memory is bounded by the longest line.
class InputLines {
 public:
  // Reads the next bytes into the buffer and returns their number, 0 at the end. May throw.
  using Source = std::function<std::size_t(char* bytes, std::size_t most)>;
  explicit InputLines(Source source) : source_(std::move(source)) {}

  struct Line {
    std::string_view text;     // without LF or CR LF; valid until the next call
    std::uint64_t number = 0;  // from 1
    bool isTooLong = false;    // more than kLongest bytes, which are skipped
  };
  // Returns nothing at the end. A last line without a line end counts.
  [[nodiscard]] std::optional<Line> Next();

  static constexpr std::size_t kLongest = std::size_t{4} << 20;

 private:
  // Reads more bytes behind those that are left. False at the end.
  bool ReadMore();

  const Source source_;
  std::string buffer_;
  std::size_t begin_ = 0;  // of the bytes that no line has had yet
  std::uint64_t number_ = 0;
};

}  // namespace varnel::tool
