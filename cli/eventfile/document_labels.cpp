#include "eventfile/document_labels.h"

#include "eventfile/event_labels.h"
#include "eventfile/label_walk.h"

namespace varnel::tool {

DocumentLabels::DocumentLabels(const EventDocument& document) {
  const auto into = [](Shared& shared) {
    return [&shared](std::string_view path, std::string_view text) {
      if (shared.size() < kMostLabels) shared.emplace_back(path, Cut(text));
    };
  };
  auto addFirst = into(first_), addLast = into(last_);
  WalkFirstLabels(document, addFirst);
  WalkLastLabels(document, addLast);
}

void DocumentLabels::VisitAll(const Element& event, const Visit& visit) const {
  LabelNames names;
  std::size_t count = 1;  // includes "left_out", as in JSON
  const auto add = [&](std::string_view path, std::string_view text) {
    if (count == kMostLabels) return;
    ++count;
    visit(names.NameFor(Cut(path)), Cut(text));
  };
  for (const auto& [path, text] : first_) add(path, text);
  WalkEventLabels(event, Facts(event, kEventFacts), add);
  for (const auto& [path, text] : last_) add(path, text);
}

}  // namespace varnel::tool
