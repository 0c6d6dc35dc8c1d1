#pragma once

#include <string>

namespace varnel::tool {

enum class DllWidth { kNoDll, k32, k64, kOther };

// What a file's own header says; the file is never loaded as code. kNoDll also for one that cannot be read.
[[nodiscard]] DllWidth WidthOfDll(const std::wstring& path);

// "1.2.3.0", from its version resource; empty when it has none.
[[nodiscard]] std::string VersionOfDll(const std::wstring& path);

[[nodiscard]] bool IsFile(const std::wstring& path);

}  // namespace varnel::tool
