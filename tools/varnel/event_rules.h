#pragma once

#include "xml_reader.h"

#include <vector>

namespace varnel::tool {

// What is wrong with a document by the rules that docs/event-format.md gives and schema/event-document.rng
// states, in the order of the document: the first ones, up to so many.
[[nodiscard]] std::vector<Fault> FindFaults(const Element& root, std::size_t most);

}  // namespace varnel::tool
