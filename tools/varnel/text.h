#pragma once

#include "printable.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// UTF-16 and UTF-8. What is broken becomes U+FFFD.
[[nodiscard]] std::wstring ToWide(std::string_view utf8);
// From the system's code page, in which the library logs.
[[nodiscard]] std::wstring FromAnsi(std::string_view ansi);
[[nodiscard]] std::string ToUtf8(std::wstring_view utf16);

[[nodiscard]] std::string Printable(std::wstring_view utf16);

}  // namespace varnel::tool
