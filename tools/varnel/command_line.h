#pragma once

#include "console.h"

#include <string>
#include <vector>

namespace varnel::tool {

// Does what the arguments say, UTF-8 and without the program's name. Prints help and what is wrong with the
// arguments; throws what the commands throw.
[[nodiscard]] Status RunCommandLine(const std::vector<std::string>& arguments);

}  // namespace varnel::tool
