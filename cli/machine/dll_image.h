#pragma once

#include <string>

namespace varnel::tool {

// True if the file is shorter than the sections that its header lists, as an interrupted copy is. The file is
// read, never loaded.
[[nodiscard]] bool IsCutShort(const std::wstring& path);

}  // namespace varnel::tool
