#pragma once

#include <string>

namespace varnel::tool {

// True if the file is shorter than the sections that its header lists, as an interrupted copy is. False for a
// file that cannot be read or is not a program file. The file is read, never loaded.
[[nodiscard]] bool IsCutShort(const std::wstring& path);

}  // namespace varnel::tool
