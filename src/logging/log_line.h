#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace varnel {

constexpr std::int32_t kLevelError = 5;
constexpr std::int32_t kLevelInfo = 7;
constexpr std::int32_t kLevelDetail = 8;

// Returns the letter of the level in output lines; "?" for a level outside 1 to 8.
constexpr char LevelLetter(std::int32_t level) noexcept {
  constexpr char kLetters[] = {'e', 'w', 'i', 'x', 'E', 'W', 'I', 'X'};
  return level >= 1 && level <= 8 ? kLetters[level - 1] : '?';
}

constexpr std::size_t kLineCapacity = 4097;  // bytes of a line's text, terminator included

// One log line, as it is given to each output. Texts are zero-terminated ANSI and are borrowed for the call.
struct LogLine {
  const char* stamp;
  std::int32_t level;
  DWORD thread;
  const char* facility;
  const char* text;
};

}  // namespace varnel
