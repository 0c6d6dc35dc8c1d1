#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string_view>

namespace varnel::tool {

// Takes a part of the output.
using Sink = std::function<void(std::string_view)>;

// What may be printed of one file: ten times its size and 1 MB, however often the file makes something
// repeat. Parts that are left out must be said to be.
class Allowance {
 public:
  // Bytes that may follow when the file has been shown up to this offset.
  [[nodiscard]] std::size_t Left(std::size_t offset) const {
    const std::size_t allowed = kTimes * offset + kBeside;
    return allowed - std::min(allowed, used_);
  }
  void Use(std::size_t bytes) { used_ += bytes; }

  // Always left for what is said at the end.
  static constexpr std::size_t kEnd = 256 * 1024;

 private:
  static constexpr std::size_t kTimes = 9;
  static constexpr std::size_t kBeside = 512 * 1024;

  std::size_t used_ = 0;
};

}  // namespace varnel::tool
