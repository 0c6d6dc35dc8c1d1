#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace varnel::tool {

// Runs this program again with these arguments (UTF-8) and returns its exit status. After `seconds` it ends
// the process and returns nothing. The process prints to standard error. Throws Failure if it cannot be
// started.
//
// varnel doctor loads DLLs of unknown quality, and saves reports, in such a process, so that a DLL that hangs
// or crashes becomes a row.
[[nodiscard]] std::optional<DWORD> RunThisProgram(const std::vector<std::string>& arguments, int seconds);

}  // namespace varnel::tool
