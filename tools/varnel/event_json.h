#pragma once

#include "event_document.h"

#include <string>

namespace varnel::tool {

// The event in the `index`th place of a document as a JSON object in one line, with the field names of the
// Elastic Common Schema (docs/tool.md has the table). ASCII.
[[nodiscard]] std::string EventJson(const EventDocument& document, std::size_t index);

}  // namespace varnel::tool
