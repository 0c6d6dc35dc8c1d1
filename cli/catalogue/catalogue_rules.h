#pragma once

#include "catalogue/catalogue.h"

#include <string_view>
#include <vector>

namespace varnel::tool::catalogue {

// Appends the faults that concern several parts of a catalogue: duplicates, and names that are one name in
// generated code.
void FindFaults(const Catalogue& catalogue, std::vector<Finding>& findings);

// True for UTF-8 that XML allows and that has no control characters, line ends included.
[[nodiscard]] bool IsOneLine(std::string_view utf8);

}  // namespace varnel::tool::catalogue
