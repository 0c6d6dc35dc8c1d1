#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace varnel::tool {

// Runs this program again with these arguments (UTF-8) and waits. Returns its exit status; nothing when it
// was still running after `seconds` and has been ended. What it prints goes to standard error. Throws Failure
// when it cannot be started.
//
// DLLs of unknown quality are loaded, and reports saved, in such a process: one that hangs or crashes
// there becomes a row of varnel doctor.
[[nodiscard]] std::optional<DWORD> RunThisProgram(const std::vector<std::string>& arguments, int seconds);

}  // namespace varnel::tool
