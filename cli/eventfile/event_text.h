#pragma once

#include "eventfile/allowance.h"
#include "eventfile/event_document.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// Returns the text in printable form, cut to 200 characters, with their number, if it is longer.
[[nodiscard]] std::string Shortened(std::string_view text);

// ListEvents and ListElements pass whole lines with their ends; a line says how many are left out.

// Writes a line for each event: time, severity, identifier, name, product, file.
void ListEvents(const EventDocument& document, const Sink& sink);
// Writes all elements of the file, one per line.
void ListElements(const EventDocument& document, const Sink& sink);

}  // namespace varnel::tool
