#include "console/utf8.h"

namespace varnel::tool {

Decoded DecodeUtf8(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < 0x80) return {first, 1, true};
  if (first < 0xC2 || first > 0xF4) return {};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  char32_t code = first & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if (i == text.size()) return {0xFFFD, 1, false, true};
    // The second byte alone shows an overlong form, a surrogate or a code above U+10FFFF.
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool isWrongSecond = i == 1 && ((first == 0xE0 && byte < 0xA0) || (first == 0xED && byte >= 0xA0) ||
                                          (first == 0xF0 && byte < 0x90) || (first == 0xF4 && byte >= 0x90));
    if (!ContinuesUtf8(text[i]) || isWrongSecond) return {};
    code = code << 6 | (byte & 0x3FU);
  }
  return {code, length, true};
}

void AppendUtf8(std::string& text, char32_t code) {
  const int more = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  constexpr unsigned kLead[] = {0, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(kLead[more] | code >> (6 * more));
  for (int left = more - 1; left >= 0; --left) text += static_cast<char>(0x80 | (code >> (6 * left) & 0x3F));
}

}  // namespace varnel::tool
