#pragma once

#include <string>

namespace varnel::tool {

// Returns a JSON object with what the page needs to show a dropped event file as the program would: the
// limits, the names that the library writes itself, and the characters that Printable escapes.
[[nodiscard]] std::string PageRules();

}  // namespace varnel::tool
