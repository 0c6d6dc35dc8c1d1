#pragma once

#include "console/printable.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// A path in the system's form: UTF-16 on Windows, bytes elsewhere.
#ifdef _WIN32
using NativePath = std::wstring;
#else
using NativePath = std::string;
#endif
using NativePathView = std::basic_string_view<NativePath::value_type>;

// Returns the path that an argument of the command line names.
[[nodiscard]] NativePath ToNative(std::string_view argument);
// Returns the path as UTF-8. On Windows invalid UTF-16 becomes U+FFFD; elsewhere the bytes stay as they are.
[[nodiscard]] std::string ToUtf8(NativePathView path);
// Returns the part of a path after its last separator.
[[nodiscard]] std::string_view FileNameOf(std::string_view path);

}  // namespace varnel::tool
