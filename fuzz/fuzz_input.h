#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace varnel::fuzz {

// A property that does not hold is a finding like a crash.
inline void Require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "violated: %s\n", property);
  std::abort();
}

// A zero-terminated copy that ends with its allocation: one byte read too many is noticed.
inline std::unique_ptr<char[]> Terminated(std::string_view text) {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  std::copy(text.begin(), text.end(), copy.get());
  return copy;
}

inline std::string_view UpToFirstZero(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

// The pieces between semicolons, empty ones too: never fewer than one.
inline std::vector<std::string_view> SplitAtSemicolons(std::string_view text) {
  std::vector<std::string_view> pieces;
  for (;;) {
    const std::size_t end = text.find(';');
    pieces.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

}  // namespace varnel::fuzz
