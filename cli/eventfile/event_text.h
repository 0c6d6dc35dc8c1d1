#pragma once

#include "eventfile/allowance.h"
#include "eventfile/event_document.h"
#include "eventfile/event_notes.h"

#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// Returns the text in printable form, cut to 200 characters, with their number, if it is longer.
[[nodiscard]] std::string Shortened(std::string_view text);

// Returns the shortened text padded to |width| characters; right-aligned if `width` is negative.
[[nodiscard]] std::string Column(std::string_view text, int width);

// ListEvents and ListElements pass whole lines with their ends; a line says how many are left out. They show
// these events of the document.

// Writes a line for each event: time, severity, identifier, name, product, file. An event whose element has
// another name than `notes` has for its identifier gets both. If `showsMachine`, the machine comes first.
void ListEvents(const EventDocument& document, const std::vector<PlacedEvent>& events,
                const EventNotes& notes, bool showsMachine, const EventSink& sink);
// Returns the first column of a line that shows its machine.
[[nodiscard]] std::string MachineColumn(std::string_view name);
// Writes the elements of the file, except other events, one per line. `notes` explain each kind of event,
// attribute and child below its first occurrence.
void ListElements(const EventDocument& document, const std::vector<PlacedEvent>& events,
                  const EventNotes& notes, const Sink& sink);

}  // namespace varnel::tool
