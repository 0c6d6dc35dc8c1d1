#pragma once

namespace varnel::tool {

// The character classes of XML 1.0.

[[nodiscard]] constexpr bool IsXmlBlank(char32_t code) {
  return code == ' ' || code == '\t' || code == '\n' || code == '\r';
}

// True if XML allows the code point, which must not be a surrogate.
[[nodiscard]] constexpr bool IsXmlCharacter(char32_t code) {
  return code >= 0x20 ? code != 0xFFFE && code != 0xFFFF : IsXmlBlank(code);
}

// True if a name may begin with it. The colon is left out: it separates a prefix.
[[nodiscard]] constexpr bool IsNameStart(char32_t code) {
  if (code < 0x80) return (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') || code == '_';
  constexpr char32_t kRanges[][2] = {{0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},
                                     {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D},
                                     {0x2070, 0x218F}, {0x2C00, 0x2FEF}, {0x3001, 0xD7FF},
                                     {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};
  for (const auto& [first, last] : kRanges)
    if (code >= first && code <= last) return true;
  return false;
}

[[nodiscard]] constexpr bool IsNameCharacter(char32_t code) {
  return IsNameStart(code) || (code >= '0' && code <= '9') || code == '-' || code == '.' || code == 0xB7 ||
         (code >= 0x300 && code <= 0x36F) || code == 0x203F || code == 0x2040;
}

}  // namespace varnel::tool
