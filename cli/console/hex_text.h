#pragma once

#include <string>
#include <string_view>

namespace varnel::tool {

// Returns bytes as lower-case hexadecimal digits.
[[nodiscard]] inline std::string HexText(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4];
    text += "0123456789abcdef"[static_cast<unsigned char>(byte) & 15];
  }
  return text;
}

}  // namespace varnel::tool
