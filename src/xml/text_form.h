#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace AdvXMLParser {

// Units that one text or name may have: its markup can then be counted on every system.
constexpr std::size_t kLongestText = 0x0FFFFFFF;

// What a text takes as character data, with < > & ' " replaced by entities.
struct TextForm {
  std::size_t units;  // as UTF-16
  std::size_t bytes;  // as UTF-8; a surrogate without its other half becomes U+FFFD
  bool isPlain;       // ASCII with nothing to replace: written as it stands
  bool hasZero;
};

// Copies the text and says what form it has.
TextForm CopyText(wchar_t* to, std::wstring_view from) noexcept;

// How many bytes the text takes as UTF-8, with nothing replaced; a surrogate without its other half takes
// three.
std::size_t Utf8Length(std::wstring_view text) noexcept;

// Writes that many bytes and returns their end.
char* WriteUtf8(char* to, std::wstring_view text) noexcept;

// The same for a unit that is no half of a pair, and for a pair.
char* WriteUnit(char* to, wchar_t unit) noexcept;
char* WritePair(char* to, wchar_t high, wchar_t low) noexcept;

// Empty for a unit that stands for itself.
constexpr std::string_view EntityFor(wchar_t unit) noexcept {
  switch (unit) {
    case L'<':
      return "&lt;";
    case L'>':
      return "&gt;";
    case L'&':
      return "&amp;";
    case L'\'':
      return "&apos;";
    case L'"':
      return "&quot;";
    default:
      return {};
  }
}

constexpr bool IsHighSurrogate(wchar_t unit) noexcept {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(wchar_t unit) noexcept {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace AdvXMLParser
