#include "xml/text_form.h"

#include <cstdint>

namespace AdvXMLParser {
namespace {

bool StartsPair(std::wstring_view text, std::size_t at) noexcept {
  return IsHighSurrogate(text[at]) && at + 1 < text.size() && IsLowSurrogate(text[at + 1]);
}

}  // namespace

TextForm FormOf(std::wstring_view text) noexcept {
  const std::size_t count = text.size();
  std::size_t entities = 0;
  std::size_t bytes = count;
  bool hasZero = false;
  for (std::size_t at = 0; (at = FindNotPlain(text.data(), at, count)) < count;) {
    for (; at < count && !IsPlain(text[at]); ++at) {
      const auto code = static_cast<std::uint32_t>(text[at]);
      if (const std::size_t length = EntityFor(text[at]).length; length != 0) entities += length - 1;
      bytes += (code >= 0x80 ? 1U : 0U) + (code >= 0x800 ? 1U : 0U);
      hasZero = hasZero || code == 0;
      // Four bytes for a pair, not three for each half.
      if (IsLowSurrogate(text[at]) && at > 0 && IsHighSurrogate(text[at - 1])) bytes -= 2;
    }
  }
  return {count + entities, bytes + entities, entities != 0, hasZero};
}

std::size_t Utf8Length(std::wstring_view text) noexcept {
  std::size_t bytes = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto unit = static_cast<std::uint32_t>(text[at]);
    if (StartsPair(text, at)) {
      bytes += 4;
      ++at;
    } else {
      bytes += unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
    }
  }
  return bytes;
}

char* WriteUtf8(char* to, std::wstring_view text) noexcept {
  for (std::size_t at = 0; at < text.size();) to = WriteCharacter(to, text, at);
  return to;
}

char* WriteCharacter(char* to, std::wstring_view text, std::size_t& at) noexcept {
  if (StartsPair(text, at)) {
    at += 2;
    return WritePair(to, text[at - 2], text[at - 1]);
  }
  const wchar_t unit = text[at++];
  const bool isHalf = IsHighSurrogate(unit) || IsLowSurrogate(unit);
  const std::uint32_t code = isHalf ? 0xFFFD : static_cast<std::uint32_t>(unit);
  if (code < 0x80) {
    *to++ = static_cast<char>(code);
  } else if (code < 0x800) {
    *to++ = static_cast<char>(0xC0 | code >> 6);
    *to++ = static_cast<char>(0x80 | (code & 0x3F));
  } else {
    *to++ = static_cast<char>(0xE0 | code >> 12);
    *to++ = static_cast<char>(0x80 | (code >> 6 & 0x3F));
    *to++ = static_cast<char>(0x80 | (code & 0x3F));
  }
  return to;
}

char* WritePair(char* to, wchar_t high, wchar_t low) noexcept {
  const std::uint32_t code = 0x10000 + ((static_cast<std::uint32_t>(high) - 0xD800) << 10) +
                             (static_cast<std::uint32_t>(low) - 0xDC00);
  *to++ = static_cast<char>(0xF0 | code >> 18);
  *to++ = static_cast<char>(0x80 | (code >> 12 & 0x3F));
  *to++ = static_cast<char>(0x80 | (code >> 6 & 0x3F));
  *to++ = static_cast<char>(0x80 | (code & 0x3F));
  return to;
}

}  // namespace AdvXMLParser
