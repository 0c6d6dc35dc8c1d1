#pragma once

#include "eventfile/event_document.h"

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// Returns a row of RFC 4180, with its line end, of texts in printable form. An apostrophe comes before a text
// that a spreadsheet would take for a formula.
[[nodiscard]] std::string CsvRow(std::initializer_list<std::string_view> texts);

// The first row of a list of events.
[[nodiscard]] std::string CsvHeads();
// Passes a row for each of these events of the document. Returns how many are left out, because they are too
// long for a file of this size.
std::size_t WriteCsv(const EventDocument& document, const std::vector<PlacedEvent>& events,
                     const EventSink& sink);

}  // namespace varnel::tool
