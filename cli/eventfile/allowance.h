#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string_view>

namespace varnel::tool {

// Receives a part of the output.
using Sink = std::function<void(std::string_view)>;

// Limits the output for one file to nine times the bytes shown so far and 512 KB, however often the file
// makes a text repeat. kEnd comes on top, for the last part: together below ten times the file's size and 1
// MB. The caller must say which parts it leaves out.
class Allowance {
 public:
  // Returns how many bytes may still be printed when the file has been shown up to `offset`.
  [[nodiscard]] std::size_t Left(std::size_t offset) const {
    const std::size_t allowed = kTimes * offset + kBeside;
    return allowed - std::min(allowed, used_);
  }
  void Use(std::size_t bytes) { used_ += bytes; }

  // Bytes that are reserved for the end of the output. Left does not include it.
  static constexpr std::size_t kEnd = 256 * 1024;
  static constexpr std::size_t kTimes = 9;
  static constexpr std::size_t kBeside = 512 * 1024;

 private:
  std::size_t used_ = 0;
};

}  // namespace varnel::tool
