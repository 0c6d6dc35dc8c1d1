#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// A character of a text, and the bytes of the text that it is written with.
struct Unit {
  char32_t code = 0;
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  // In a folded text: of a slash, that there were several; of a blank, that it has a line end.
  bool isMore = false;
};
using Units = std::vector<Unit>;

// Returns the characters of UTF-8. A byte that is not UTF-8 is read as Latin-1. The text has at most 4 GB.
[[nodiscard]] Units ReadUnits(std::string_view utf8);

// Returns the text in all readings in which values are searched: as it is, and then with its escapes decoded,
// as often as that changes it, at most three times. The escapes are character references and entities of XML
// (&#65; &amp;), percent-encoding (%41), and escapes of JSON and of languages like C (\u0041, \u{41}, \x41,
// \").
[[nodiscard]] std::vector<Units> ReadingsOf(std::string_view utf8);

// Returns the text as it is compared: folded, with each run of blanks or slashes as one.
[[nodiscard]] Units Folded(const Units& units);
[[nodiscard]] std::u32string TextOf(const Units& units);
[[nodiscard]] std::string Utf8Of(std::u32string_view text);

}  // namespace varnel::tool
