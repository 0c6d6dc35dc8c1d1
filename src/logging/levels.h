#pragma once

namespace varnel {

constexpr int kLevelError = 5;
constexpr int kLevelInfo = 7;
constexpr int kLevelDetail = 8;

// The letter that stands for the level in every output line; "?" for a level outside 1 to 8.
constexpr char LevelLetter(int level) noexcept {
  constexpr char kLetters[] = {'e', 'w', 'i', 'x', 'E', 'W', 'I', 'X'};
  return level >= 1 && level <= 8 ? kLetters[level - 1] : '?';
}

}  // namespace varnel
