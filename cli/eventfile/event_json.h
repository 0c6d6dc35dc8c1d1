#pragma once

#include "eventfile/allowance.h"
#include "eventfile/event_document.h"
#include "eventfile/json_line.h"

namespace varnel::tool {

// Passes each event of a document to the sink as one line with a JSON object, whose field names are those of
// the Elastic Common Schema (docs/tool.md has the table). The label "left_out" counts the parts that do not
// fit.
void WriteEvents(const EventDocument& document, JsonUse use, const Sink& sink);

}  // namespace varnel::tool
