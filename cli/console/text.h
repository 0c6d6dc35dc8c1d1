#pragma once

#include "console/printable.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// Convert between UTF-16, UTF-8 and the ANSI code page, in which the library logs. Invalid input becomes
// U+FFFD.
[[nodiscard]] std::wstring ToWide(std::string_view utf8);
[[nodiscard]] std::wstring FromAnsi(std::string_view ansi);
[[nodiscard]] std::string ToUtf8(std::wstring_view utf16);

[[nodiscard]] std::string Printable(std::wstring_view utf16);

}  // namespace varnel::tool
