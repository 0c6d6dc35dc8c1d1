#pragma once

#include "eventfile/event_document.h"
#include "eventfile/json_line.h"

#include <cstddef>
#include <string>

namespace varnel::tool {

// Returns the first 16 hexadecimal digits of the SHA-256 of the file's bytes, without a byte-order mark.
[[nodiscard]] std::string DigestOf(const EventDocument& document);

// The identifiers of a document's events, unique in a fleet and the same at every reading: agent, file name,
// place in the file and digest of the file (docs/tool.md).
class EventIdentifiers {
 public:
  // For a page, the identifiers have no digest. Otherwise it is computed if document.digest is empty.
  EventIdentifiers(const EventDocument& document, JsonUse use);
  // `place` counts the events of the document from 1.
  [[nodiscard]] std::string Of(std::size_t place) const;

 private:
  std::string start_;
  std::string end_;
};

}  // namespace varnel::tool
