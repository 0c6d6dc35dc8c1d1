#include "logging/ansi_text.h"

#include "base/characters.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>

namespace varnel {
namespace {

// Converts character by character until the next one does not fit, so that no character is cut in half.
std::size_t ConvertAsManyAsFit(const wchar_t* text, char* buffer, std::size_t room) noexcept {
  std::size_t used = 0;
  while (*text != L'\0') {
    const int units = IsHighSurrogate(text[0]) && IsLowSurrogate(text[1]) ? 2 : 1;
    char bytes[16];
    const int count = WideCharToMultiByte(CP_ACP, 0, text, units, bytes, sizeof(bytes), nullptr, nullptr);
    if (count <= 0 || static_cast<std::size_t>(count) > room - used) break;
    std::memcpy(buffer + used, bytes, static_cast<std::size_t>(count));
    used += static_cast<std::size_t>(count);
    text += units;
  }
  return used;
}

}  // namespace

std::size_t ToAnsi(const wchar_t* text, char* buffer, std::size_t capacity) noexcept {
  const std::size_t room = capacity - 1;
  const std::size_t length = std::wcslen(text);
  std::size_t used = 0;
  if (length != 0 && length <= room) {
    const int converted = WideCharToMultiByte(CP_ACP, 0, text, static_cast<int>(length), buffer,
                                              static_cast<int>(room), nullptr, nullptr);
    if (converted > 0) used = static_cast<std::size_t>(converted);
  }
  if (used == 0 && length != 0) used = ConvertAsManyAsFit(text, buffer, room);
  buffer[used] = '\0';
  return used;
}

std::size_t FormatAnsi(char* buffer, std::size_t capacity, const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  const int length = _vsnprintf(buffer, capacity, format, arguments);
  va_end(arguments);
  if (length >= 0 && static_cast<std::size_t>(length) < capacity) return static_cast<std::size_t>(length);
  buffer[capacity - 1] = '\0';
  return capacity - 1;
}

}  // namespace varnel
