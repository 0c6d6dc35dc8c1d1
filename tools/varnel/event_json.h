#pragma once

#include "allowance.h"
#include "event_document.h"
#include "json_line.h"

namespace varnel::tool {

// Gives the sink each event of a document as a JSON object in one line, with the field names of the Elastic
// Common Schema (docs/tool.md has the table). What is left out is counted in the label "left_out".
void WriteEvents(const EventDocument& document, JsonUse use, const Sink& sink);

}  // namespace varnel::tool
