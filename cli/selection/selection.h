#pragma once

#include "eventfile/document_labels.h"
#include "eventfile/event_document.h"
#include "selection/query_values.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// The terms of a selection as written (docs/tool.md, "Selecting"). Terms of the same kind are alternatives,
// but each of `where` must hold.
struct SelectionTerms {
  std::vector<std::string> since, until, severity, id, event, product, host, where;
  bool operator==(const SelectionTerms&) const = default;
};

// The value of a label that an event must have.
struct WantedLabel {
  std::string name;
  std::string pattern;
};
// True for a label of this name or of a name that ends with "_" and this name. The case of A-Z does not
// count, nor do numbers that are at the end of the label's name only.
[[nodiscard]] bool IsLabelNamed(std::string_view label, std::string_view name);

// A selection of events.
class Selection {
 public:
  // Ages like 2h are counted from `now`. Throws Failure for a term that cannot be understood.
  Selection(const SelectionTerms& terms, std::chrono::sys_seconds now);
  explicit Selection(const SelectionTerms& terms);  // from the current time
  // True if there are no terms, so that every event is selected.
  [[nodiscard]] bool IsEverything() const { return isEverything_; }
  // Returns the selected events of a document, in its order.
  [[nodiscard]] std::vector<PlacedEvent> EventsOf(const EventDocument& document) const;

 private:
  using Moments = std::vector<std::chrono::sys_seconds>;
  using Ranges = std::vector<NumberRange>;
  using Patterns = std::vector<std::string>;

  [[nodiscard]] bool SelectsFacts(const Element& event) const;
  [[nodiscard]] bool SelectsLabels(const DocumentLabels& labels, const Element& event) const;

  Moments since_, until_;
  Ranges severities_, ids_;
  Patterns events_, products_, hosts_;
  std::vector<WantedLabel> labels_;
  bool isEverything_;
};

}  // namespace varnel::tool
