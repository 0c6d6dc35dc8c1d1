#pragma once

#include "allowance.h"
#include "event_document.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// For a person: printable, and cut when it is longer than a line bears.
[[nodiscard]] std::string Shortened(std::string_view text);

// A line for each event: time, severity, identifier, name, product, file.
void ListEvents(const EventDocument& document, const Sink& sink);
// The whole file, an element a line.
void ListElements(const EventDocument& document, const Sink& sink);

}  // namespace varnel::tool
