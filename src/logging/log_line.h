#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

namespace varnel {

constexpr std::int32_t kLevelError = 5;
constexpr std::int32_t kLevelInfo = 7;
constexpr std::int32_t kLevelDetail = 8;

// The letter that stands for the level in every output line; "?" for a level outside 1 to 8.
constexpr char LevelLetter(std::int32_t level) noexcept {
  constexpr char kLetters[] = {'e', 'w', 'i', 'x', 'E', 'W', 'I', 'X'};
  return level >= 1 && level <= 8 ? kLetters[level - 1] : '?';
}

constexpr std::size_t kLineCapacity = 4097;  // bytes of a line's text, terminator included

// One line as every output gets it. All texts are zero-terminated ANSI and belong to the caller.
struct LogLine {
  const char* stamp;
  std::int32_t level;
  DWORD thread;
  const char* facility;
  const char* text;
};

}  // namespace varnel
