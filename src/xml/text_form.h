#pragma once

#include "xml/blocks.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace AdvXMLParser {

// UTF-16 units that one text or name may have. The markup of a text is at most six times as long, which 32
// bits can count.
constexpr std::size_t kLongestText = 0x0FFFFFFF;

constexpr std::string_view kXmlDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

// Length of ASCII markup, the same number in UTF-16 units and in UTF-8 bytes.
constexpr std::size_t LengthOf(std::string_view markup) noexcept {
  return markup.size();
}

// A document holds its texts as UTF-8. A half of a surrogate pair without the other half takes three bytes,
// like any other unit of its size, so that every text can be read back as it was given.

// Character data is written with < > & ' " replaced by entities; names, comments and the like are written as
// they are.
enum class Form : bool { kAsItIs, kEscaped };

// How many bytes the text takes.
std::size_t LengthOf(std::wstring_view text, Form form) noexcept;

struct Written {
  char* end;
  // True for a zero or half a surrogate pair: only the system's conversion knows what is saved of these.
  bool needsConversion;
};

// Writes that many bytes. Up to seven bytes behind them are written over.
Written WriteUtf8(char* to, std::wstring_view text, Form form) noexcept;

// Writes the UTF-16 units of such bytes and returns their end. Up to seven bytes behind `utf8` are read, and
// up to seven units behind the end are written over.
wchar_t* WriteUtf16(wchar_t* to, std::string_view utf8) noexcept;

// The text whose bytes these are.
std::wstring TextFrom(std::string_view utf8, Form form);

}  // namespace AdvXMLParser
