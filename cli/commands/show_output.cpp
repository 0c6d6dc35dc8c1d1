#include "commands/show_output.h"

#include "catalogue/catalogue_file.h"
#include "catalogue/catalogue_notes.h"
#include "eventfile/event_csv.h"
#include "eventfile/event_json.h"
#include "eventfile/event_text.h"
#include "eventfile/files.h"

#include <algorithm>

namespace varnel::tool {
namespace {

constexpr std::size_t kPart = 65'536;
// Enough for the lines of 30,000 events.
constexpr std::size_t kMostHeld = 4 * 1024 * 1024;

// Returns the lines with a column before each.
std::string WithColumn(std::string_view lines, const std::string& column) {
  std::string text;
  while (!lines.empty()) {
    const std::size_t length = std::min(lines.find('\n'), lines.size() - 1) + 1;
    text.append(column).append(lines.substr(0, length));
    lines.remove_prefix(length);
  }
  return text;
}

}  // namespace

ShowOutput::ShowOutput(const ShowOptions& options)
    : options_(options),
      isHeld_(!options.tree && !options.json && !options.csv && !options.count && options.top.empty()) {
  if (!options.catalogue.empty()) notes_ = NotesOf(catalogue::LoadCatalogue(options.catalogue));
  if (!options.page.empty()) page_.emplace(FullPath(ToNative(options.page)), notes_.page);
  if (!options.top.empty()) totals_.emplace(options.top);
  if (options.csv && !totals_) Add(CsvHeads());
}

bool ShowOutput::IsByEvent() const {
  return !options_.tree && !page_ && !totals_ && !options_.count;
}

void ShowOutput::Show(const EventDocument& document, const std::vector<PlacedEvent>& events) {
  count_ += events.size();
  if (options_.count) return;
  if (totals_) return totals_->Add(document, events);
  if (options_.tree)
    return ListElements(document, events, notes_, [this](std::string_view text) { Add(text); });
  if (page_)
    return WriteEvents(document, events, JsonUse::kPage,
                       [this](const PlacedEvent&, std::string_view line) { page_->Add(line); });
  if (!events.empty()) NoteMachine(document);
  Render(document, events, [this](const PlacedEvent&, std::string_view text) { Add(text); });
}

void ShowOutput::Render(const EventDocument& document, const std::vector<PlacedEvent>& events,
                        const EventSink& sink) {
  if (options_.json) {
    WriteEvents(document, events, JsonUse::kData, [&sink](const PlacedEvent& event, std::string_view line) {
      sink(event, std::string(line) + "\n");
    });
  } else if (options_.csv) {
    const std::size_t leftOut = WriteCsv(document, events, sink);
    if (leftOut == 0) return;
    PrintError(Printable(document.path) + ": " + Counted(leftOut, "event") +
               " left out: too long for a file of this size; use --json");
    worst_ = kFound;
  } else {
    ListEvents(document, events, notes_, hasMachines_, sink);
  }
}

void ShowOutput::NoteMachine(const EventDocument& document) {
  const std::string_view name = Facts(document.machine, kMachineFacts).Text(0);
  if (!machine_) machine_ = name;
  if (hasMachines_ || name == *machine_) return;
  hasMachines_ = true;
  if (isHeld_) output_ = WithColumn(output_, MachineColumn(*machine_));
  isHeld_ = false;
}

void ShowOutput::Add(std::string_view text) {
  output_ += text;
  if (output_.size() > (isHeld_ ? kMostHeld : kPart)) Flush();
}

void ShowOutput::FlushUnlessHeld() {
  if (!isHeld_) Flush();
}

void ShowOutput::Flush() {
  isHeld_ = false;
  if (!output_.empty()) Print(output_);
  output_.clear();
}

void ShowOutput::Finish() {
  if (page_) page_->Finish();
  if (options_.count) Add(std::to_string(count_) + "\n");
  if (totals_) Add(options_.csv ? totals_->Csv() : totals_->Table());
  Flush();
}

}  // namespace varnel::tool
