#pragma once

#include <algorithm>
#include <string_view>

namespace varnel {

// True if the texts are equal without regard to the case of ASCII letters. Independent of the locale.
[[nodiscard]] inline bool EqualIgnoringAsciiCase(std::wstring_view a, std::wstring_view b) noexcept {
  const auto lower = [](wchar_t c) {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
  };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](wchar_t x, wchar_t y) { return lower(x) == lower(y); });
}

}  // namespace varnel
