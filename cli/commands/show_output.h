#pragma once

#include "commands/commands.h"
#include "console/console.h"
#include "eventfile/event_document.h"
#include "eventfile/event_notes.h"
#include "page/page.h"
#include "selection/totals.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// What varnel show prints of selected events: a list, a tree, JSON, CSV, a page, their number or totals.
class ShowOutput {
 public:
  // Throws Failure if the catalogue or the page is not as it should be.
  explicit ShowOutput(const ShowOptions& options);

  // Shows these events of the document.
  void Show(const EventDocument& document, const std::vector<PlacedEvent>& events);
  // True if the output has a text for each event, in an order that matters.
  [[nodiscard]] bool IsByEvent() const;
  // Passes the texts of these events of the document. For an output that IsByEvent.
  void Render(const EventDocument& document, const std::vector<PlacedEvent>& events, const EventSink& sink);
  void Add(std::string_view text);
  // The list shows the machine of each event once there is more than one. Call it for a document before its
  // events are shown.
  void NoteMachine(const EventDocument& document);
  // Print what has been added; FlushUnlessHeld not while a second machine may still change it.
  void Flush();
  void FlushUnlessHeld();
  // Prints the rest: totals, and the end of the page.
  void Finish();
  // Returns kFound if events were left out.
  [[nodiscard]] Status Worst() const { return worst_; }

 private:
  const ShowOptions& options_;
  EventNotes notes_;
  std::optional<PageFile> page_;
  std::optional<Totals> totals_;
  std::string output_;
  bool isHeld_;  // the list is not printed yet, because a second machine may follow
  std::optional<std::string> machine_;
  bool hasMachines_ = false;  // more than one
  std::size_t count_ = 0;
  Status worst_ = kDone;
};

}  // namespace varnel::tool
