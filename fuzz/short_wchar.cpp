// The wide-character functions of the C library for a 16-bit wchar_t, as on Windows. The host's own functions
// take 32-bit characters.

#include <cstddef>

extern "C" {

std::size_t wcslen(const wchar_t* text) noexcept {
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

wchar_t* wmemcpy(wchar_t* to, const wchar_t* from, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) to[i] = from[i];
  return to;
}

wchar_t* wmemmove(wchar_t* to, const wchar_t* from, std::size_t count) noexcept {
  if (to <= from) return wmemcpy(to, from, count);
  while (count-- > 0) to[count] = from[count];
  return to;
}

wchar_t* wmemset(wchar_t* to, wchar_t unit, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) to[i] = unit;
  return to;
}

int wmemcmp(const wchar_t* left, const wchar_t* right, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i)
    if (left[i] != right[i]) return left[i] < right[i] ? -1 : 1;
  return 0;
}

const wchar_t* wmemchr(const wchar_t* text, wchar_t unit, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i)
    if (text[i] == unit) return text + i;
  return nullptr;
}

}  // extern "C"
