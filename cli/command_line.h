#pragma once

#include "console/console.h"

#include <string>
#include <vector>

namespace varnel::tool {

// Runs the command that the arguments (UTF-8, without the program's name) select, and returns its status.
// Prints help, or the fault in the arguments. Throws the exceptions of the commands.
[[nodiscard]] Status RunCommandLine(const std::vector<std::string>& arguments);

}  // namespace varnel::tool
