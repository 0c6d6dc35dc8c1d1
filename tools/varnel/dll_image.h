#pragma once

#include <string>

namespace varnel::tool {

// True if the file is shorter than the sections that its own header lists: a copy that was broken off. The
// file is read, never loaded.
[[nodiscard]] bool IsCutShort(const std::wstring& path);

}  // namespace varnel::tool
