#pragma once

#include "bundle/text_units.h"

#include <functional>

namespace varnel::tool {

// A part of a text that may be base64 or hexadecimal digits. `decoded` has the bytes from one of its possible
// starts.
struct EncodedText {
  std::size_t first, end;  // units of the text
  std::string decoded;
};
// Calls found for every run of at least eight characters of base64 (in both alphabets) or hexadecimal digits,
// once for each of its possible starts.
void FindEncoded(const Units& text, const std::function<void(const EncodedText&)>& found);

// Returns UTF-16 as UTF-8; a unit without its partner becomes U+FFFD. An odd last byte is left out.
[[nodiscard]] std::string FromUtf16(std::string_view bytes, bool isBigEndian);

// True for UTF-8 without control characters other than blanks.
[[nodiscard]] bool IsPlainText(std::string_view bytes);

}  // namespace varnel::tool
