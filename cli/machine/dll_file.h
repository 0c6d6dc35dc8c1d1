#pragma once

#include <string>

namespace varnel::tool {

enum class DllKind { kNoDll, k32Bit, k64Bit, kOther };

// Returns the architecture that the file's header states, kNoDll also for a file that cannot be read. The
// file is never loaded as code.
[[nodiscard]] DllKind KindOfDll(const std::wstring& path);

// Returns the file version, like "1.2.3.0", from the version resource; an empty text if there is none.
[[nodiscard]] std::string VersionOfDll(const std::wstring& path);

// True if the path leads to a file and not to a folder.
[[nodiscard]] bool IsFile(const std::wstring& path);

}  // namespace varnel::tool
