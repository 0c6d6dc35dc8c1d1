#pragma once

#include "eventfile/allowance.h"
#include "eventfile/event_document.h"
#include "eventfile/json_line.h"

#include <cstddef>

namespace varnel::tool {

// Bytes of a line that are reserved for "labels", "left_out" and the end of the line.
constexpr std::size_t kLineEnding = 256;

// Calls the sink once for each of these events of the document, with a JSON object in one line, without a
// line end. The field names are those of the Elastic Common Schema (docs/tool.md has the table). The label
// "left_out" counts the parts that do not fit.
void WriteEvents(const EventDocument& document, const std::vector<PlacedEvent>& events, JsonUse use,
                 const EventSink& sink);

}  // namespace varnel::tool
