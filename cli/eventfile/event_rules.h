#pragma once

#include "eventfile/xml_reader.h"

#include <vector>

namespace varnel::tool {

// Returns the first `most` faults of a document, in document order, by the rules of docs/event-format.md and
// schema/event-document.rng.
[[nodiscard]] std::vector<Fault> FindFaults(const Element& root, std::size_t most);

}  // namespace varnel::tool
