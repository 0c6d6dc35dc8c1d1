#pragma once

#include "console/text.h"

#include <string>
#include <string_view>

// Windows only: the texts of its functions, in UTF-16. console/text.h converts them to UTF-8.
namespace varnel::tool {

// Convert UTF-8, and the ANSI code page in which the library logs, to UTF-16. Invalid input becomes U+FFFD.
[[nodiscard]] std::wstring ToWide(std::string_view utf8);
[[nodiscard]] std::wstring FromAnsi(std::string_view ansi);

[[nodiscard]] std::string Printable(std::wstring_view utf16);

}  // namespace varnel::tool
