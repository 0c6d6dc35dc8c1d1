#pragma once

#include "eventfile/allowance.h"
#include "eventfile/event_document.h"
#include "eventfile/event_notes.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// Returns the text in printable form, cut to 200 characters, with their number, if it is longer.
[[nodiscard]] std::string Shortened(std::string_view text);

// ListEvents and ListElements pass whole lines with their ends; a line says how many are left out.

// Writes a line for each event: time, severity, identifier, name, product, file. An event whose element has
// another name than `notes` has for its identifier gets both.
void ListEvents(const EventDocument& document, const EventNotes& notes, const Sink& sink);
// Writes all elements of the file, one per line. `notes` explain each kind of event, attribute and child
// below its first occurrence.
void ListElements(const EventDocument& document, const EventNotes& notes, const Sink& sink);

}  // namespace varnel::tool
