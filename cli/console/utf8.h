#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel::tool {

// The first character of a UTF-8 text.
struct Decoded {
  char32_t code = 0xFFFD;  // U+FFFD for invalid bytes
  std::size_t length = 1;  // in bytes
  bool isValid = false;
  bool isCut = false;  // invalid, but more bytes could complete it
};
// Decodes the first character of a non-empty text. Surrogates, overlong forms and codes above U+10FFFF are
// invalid.
[[nodiscard]] Decoded DecodeUtf8(std::string_view text);

// Appends a code point up to U+10FFFF that is not a surrogate.
void AppendUtf8(std::string& text, char32_t code);

// True for a byte that continues a character.
[[nodiscard]] constexpr bool ContinuesUtf8(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace varnel::tool
