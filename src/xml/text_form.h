#pragma once

#include "xml/blocks.h"

#include <cstddef>
#include <string_view>

namespace AdvXMLParser {

// Units that one text or name may have: its markup can then be counted on every system.
constexpr std::size_t kLongestText = 0x0FFFFFFF;

constexpr std::string_view kXmlDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

// Of ASCII markup, in units and in bytes.
constexpr std::size_t LengthOf(std::string_view markup) noexcept {
  return markup.size();
}

// What a text takes as character data, with < > & ' " replaced by entities.
struct TextForm {
  std::size_t units;  // as UTF-16
  std::size_t bytes;  // as UTF-8; a surrogate without its other half becomes U+FFFD
  bool hasEntities;
  bool hasZero;
};

TextForm FormOf(std::wstring_view text) noexcept;

// How many bytes the text takes as UTF-8, with nothing replaced; a surrogate without its other half takes
// three.
std::size_t Utf8Length(std::wstring_view text) noexcept;

// Writes that many bytes and returns their end.
char* WriteUtf8(char* to, std::wstring_view text) noexcept;

// The same for the character at `at`, which is moved behind it, and for a pair.
char* WriteCharacter(char* to, std::wstring_view text, std::size_t& at) noexcept;
char* WritePair(char* to, wchar_t high, wchar_t low) noexcept;

}  // namespace AdvXMLParser
