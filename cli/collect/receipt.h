#pragma once

#include "console/sha256.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace varnel::tool {

using WallTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

// Counts and hashes the lines of a segment while they are written, for its receipt.
class LineSums {
 public:
  // Adds a line, without its line end. Returns the first 64 bits of its SHA-256.
  std::uint64_t Add(std::string_view line);

  // The state before a file's lines, to which a failure returns.
  struct Mark {
    std::uint64_t lines = 0;
    std::size_t ids = 0;
    std::size_t digests = 0;
    Sha256 sum;
    std::string last;
  };
  [[nodiscard]] Mark Save() const;
  void Restore(const Mark& mark);

  [[nodiscard]] std::uint64_t Lines() const { return lines_; }
  // Returns the members of the receipt: first those of one value, then the lists.
  [[nodiscard]] std::string Members() const;
  [[nodiscard]] std::string Lists() const;

 private:
  std::uint64_t lines_ = 0;
  std::string first_, last_;   // JSON texts
  std::string ids_, digests_;  // JSON texts with commas
  Sha256 sum_;
};

// Names of event files that are not in the segment. A receipt lists the first 10,000 and counts all.
class NamedFiles {
 public:
  // `json` is the list's element. True if it is listed.
  bool Add(std::string_view json);
  void AddUnlisted(std::uint64_t count) { total_ += count; }
  [[nodiscard]] std::uint64_t Unlisted() const { return total_ - listed_; }
  [[nodiscard]] std::uint64_t Total() const { return total_; }
  [[nodiscard]] std::string List() const { return "[" + list_ + "]"; }

 private:
  std::uint64_t total_ = 0;
  std::uint64_t listed_ = 0;
  std::string list_;
};

// What the receipt of a segment says (docs/tool.md).
struct Receipt {
  WallTime opened{};
  std::uint64_t files = 0;
  LineSums lines;
  NamedFiles passedOver;
  NamedFiles vanished;
  std::uint64_t noticesLost = 0;

  [[nodiscard]] bool IsEmpty() const {
    return files == 0 && passedOver.Total() == 0 && vanished.Total() == 0 && noticesLost == 0;
  }
  // Returns one JSON object and a line end.
  [[nodiscard]] std::string Json(std::string_view segment, WallTime closed) const;
};

}  // namespace varnel::tool
