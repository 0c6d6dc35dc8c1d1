#pragma once

#include "event_document.h"

#include <string>

namespace varnel::tool {

// For a person, with nothing that a terminal could obey.

// Cut when it is longer than a line bears.
[[nodiscard]] std::string Shortened(const std::string& text);

// A line for each event: time, severity, identifier, name, product, file.
[[nodiscard]] std::string EventLines(const EventDocument& document);
// The whole file, an element a line.
[[nodiscard]] std::string ElementTree(const std::string& path, const Element& root);

}  // namespace varnel::tool
