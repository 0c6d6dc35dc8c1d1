#pragma once

#include "console/console.h"

#include <functional>
#include <string>
#include <vector>

namespace varnel::tool {

// Runs the command that the arguments (without the program's name; UTF-8 on Windows) select, and returns its
// status. Prints help, or the fault in the arguments, or why the command failed. Does not throw.
[[nodiscard]] Status RunProgram(const std::function<std::vector<std::string>()>& arguments) noexcept;

}  // namespace varnel::tool
