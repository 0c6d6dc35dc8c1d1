#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace varnel::tool {

enum class LineEnds { kEscape, kKeep };

// Returns a text in printable form, for a terminal and for the page. Characters that are invisible or control
// the output become \u{...}: control characters, marks that change the direction of writing, zero-width
// characters, and combining marks after the first two of a letter. Invalid UTF-8 becomes U+FFFD. Line feeds
// and tabs are escaped too, so that the text stays in one line, unless `lineEnds` is kKeep.
[[nodiscard]] std::string Printable(std::string_view utf8, LineEnds lineEnds = LineEnds::kEscape);

// What Printable escapes, for the page, which shows event files in the same way.
struct CharacterRange {
  char32_t first;
  char32_t last;
};
constexpr int kMostMarks = 2;  // per letter: Vietnamese, Thai and pointed scripts need two
// Return the invisible characters, and the combining marks, in ascending order.
[[nodiscard]] std::span<const CharacterRange> UnseenCharacters();
[[nodiscard]] std::span<const CharacterRange> CombiningMarks();

// Returns a number with its unit: "1 file", "2 files".
[[nodiscard]] std::string Counted(std::uint64_t number, std::string_view unit);

}  // namespace varnel::tool
