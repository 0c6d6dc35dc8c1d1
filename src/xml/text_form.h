#pragma once

#include "xml/blocks.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace AdvXMLParser {

// The longest text or name in UTF-16 units. Markup is at most six times as long, which 32 bits can count.
constexpr std::size_t kLongestText = 0x0FFFFFFF;

constexpr std::string_view kXmlDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

// Length of ASCII markup, the same number in UTF-16 units and in UTF-8 bytes.
constexpr std::size_t LengthOf(std::string_view markup) noexcept {
  return markup.size();
}

// A document stores its texts as UTF-8. Half a surrogate pair is stored as three bytes, so that every text
// reads back as it was given.

// kEscaped: character data, with < > & ' " replaced by entities. kAsItIs: names, comments and the like.
enum class Form : bool { kAsItIs, kEscaped };

// Returns the number of bytes that WriteUtf8 writes.
std::size_t LengthOf(std::wstring_view text, Form form) noexcept;

// The result of WriteUtf8.
struct Written {
  char* end;
  // True for a text with a zero or half a surrogate pair. Only Windows' conversion knows how to save these.
  bool needsConversion;
};

// Writes LengthOf(text, form) bytes. Overwrites up to seven bytes after the end.
Written WriteUtf8(char* to, std::wstring_view text, Form form) noexcept;

// Converts the bytes of WriteUtf8 to UTF-16 and returns the end. Reads up to seven bytes after `utf8` and
// overwrites up to seven units after the end.
wchar_t* WriteUtf16(wchar_t* to, std::string_view utf8) noexcept;

// Returns the text from the bytes of WriteUtf8 with the same `form`.
std::wstring TextFrom(std::string_view utf8, Form form);

// White space here is space, tab, CR and LF.

// Returns the part of `text` without white space at both ends.
std::wstring_view Trim(std::wstring_view text) noexcept;

// Returns a copy with each run of white space replaced by one space. Does not trim.
std::wstring CollapseWhitespace(std::wstring_view text);

}  // namespace AdvXMLParser
