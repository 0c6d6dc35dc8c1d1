#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel::tool {

// A character at the start of a text in UTF-8.
struct Decoded {
  char32_t code = 0xFFFD;  // what stands for bytes that are no UTF-8
  std::size_t length = 1;  // in bytes
  bool isValid = false;
  bool isCut = false;  // not valid, but more bytes could make it so
};
// Of a text that is not empty. Surrogates, long forms and what lies behind U+10FFFF are not valid.
[[nodiscard]] Decoded DecodeUtf8(std::string_view text);

void AppendUtf8(std::string& text, char32_t code);

// True for a byte that continues a character.
[[nodiscard]] constexpr bool ContinuesUtf8(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace varnel::tool
