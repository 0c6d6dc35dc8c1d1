#pragma once

#include "catalogue/catalogue.h"
#include "eventfile/event_notes.h"

namespace varnel::tool::catalogue {

// Returns what `varnel show` says about events of a catalogue.
[[nodiscard]] EventNotes NotesOf(const Catalogue& catalogue);

}  // namespace varnel::tool::catalogue
