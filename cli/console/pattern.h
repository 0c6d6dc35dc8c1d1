#pragma once

#include <cstddef>
#include <string_view>

namespace varnel::tool {

// True if the letters are equal, or differ in the case of A-Z only.
template <class Char>
[[nodiscard]] constexpr bool EqualsIgnoringCase(Char one, Char other) {
  const auto lower = [](Char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<Char>(letter - 'A' + 'a') : letter;
  };
  return lower(one) == lower(other);
}

// True if the pattern describes the whole text. "*" is any run of characters; equal(wanted, given) decides
// whether any other character of the pattern is one of the text.
template <class Char, class Equal>
[[nodiscard]] bool MatchesPattern(std::basic_string_view<Char> text, std::basic_string_view<Char> pattern,
                                  const Equal& equal) {
  std::size_t at = 0, next = 0;                  // in the text and in the pattern
  std::size_t star = pattern.npos, starEnd = 0;  // the last "*" and the end of the run that it takes
  while (at < text.size()) {
    if (next < pattern.size() && pattern[next] == '*') {
      star = next++;
      starEnd = at;
    } else if (next < pattern.size() && equal(pattern[next], text[at])) {
      ++next;
      ++at;
    } else if (star != pattern.npos) {
      next = star + 1;
      at = ++starEnd;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', next) == pattern.npos;
}

// The same for UTF-8, where the case of A-Z does not count.
[[nodiscard]] inline bool MatchesPattern(std::string_view text, std::string_view pattern) {
  return MatchesPattern(text, pattern, EqualsIgnoringCase<char>);
}

}  // namespace varnel::tool
