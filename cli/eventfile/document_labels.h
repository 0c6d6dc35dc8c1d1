#pragma once

#include "eventfile/event_document.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::tool {

// The labels of a document's events: names and texts as WriteEvents writes them for JsonUse::kData, without
// its limit on the bytes of an event. The document and its tree must outlive it.
class DocumentLabels {
 public:
  using Visit = std::function<void(std::string_view name, std::string_view text)>;
  explicit DocumentLabels(const EventDocument& document);
  void VisitAll(const Element& event, const Visit& visit) const;

 private:
  using Shared = std::vector<std::pair<std::string, std::string_view>>;
  Shared first_, last_;  // labels that all events have, before and after their own
};

}  // namespace varnel::tool
