#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace varnel {

// The halves of a surrogate pair.
constexpr bool IsHighSurrogate(std::uint32_t unit) noexcept {
  return unit >> 10 == 0xD800 >> 10;
}
constexpr bool IsLowSurrogate(std::uint32_t unit) noexcept {
  return unit >> 10 == 0xDC00 >> 10;
}

constexpr bool IsAsciiLetter(wchar_t unit) noexcept {
  return (unit >= L'A' && unit <= L'Z') || (unit >= L'a' && unit <= L'z');
}

// True if the texts are equal without regard to the case of ASCII letters. Independent of the locale.
[[nodiscard]] inline bool EqualIgnoringAsciiCase(std::wstring_view a, std::wstring_view b) noexcept {
  const auto lower = [](wchar_t c) {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
  };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](wchar_t x, wchar_t y) { return lower(x) == lower(y); });
}

}  // namespace varnel
