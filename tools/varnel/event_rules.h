#pragma once

#include "xml_tree.h"

#include <vector>

namespace varnel::tool {

// What is wrong with a document by the rules that docs/event-format.md gives and schema/event-document.rng
// states, in the order of the document.
[[nodiscard]] std::vector<Fault> FindFaults(const Element& root);

}  // namespace varnel::tool
