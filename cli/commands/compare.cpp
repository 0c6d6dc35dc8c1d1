// varnel compare: which events, and which values in them, occur more often in some event files than in
// others.

#include "commands/commands.h"
#include "console/console.h"
#include "console/printable.h"
#include "eventfile/document_reader.h"
#include "eventfile/event_text.h"
#include "selection/comparison.h"
#include "selection/selection.h"
#include "selection/totals.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace varnel::tool {
namespace {

constexpr const char* kSides[] = {"first", "second"};

class Compare {
 public:
  explicit Compare(const CompareOptions& options) : selection_(options.terms) {
    for (const auto& [side, path] : {std::pair(std::size_t{0}, options.one), {std::size_t{1}, options.other}})
      Read(side, path);
  }
  Status Run() const {
    const Comparison::Result result = comparison_.Compare();
    for (const Comparison::Difference& difference : result.differences) PrintRow(difference);
    if (!result.varying.empty()) Print("\nNot compared, because nearly every event has its own value:\n");
    for (const Comparison::Subject& subject : result.varying) Print("  " + Describe(subject) + "\n");
    char scale[32];
    std::snprintf(scale, sizeof(scale), "%.3g", result.scale);
    Print("\n" + Counted(result.differences.size(), "difference") +
          "; of most kinds of events the second has " + scale + " times as many\n");
    if (comparison_.IsCut())
      PrintError(
          "there are too many kinds of events, labels and values, so that only the first ones were compared; "
          "select fewer events");
    const bool isFound = !result.differences.empty() || comparison_.IsCut();
    return std::max(reader_.Worst(), isFound ? kFound : kDone);
  }

 private:
  void Read(std::size_t side, const std::string& path) {
    const std::vector<ListedFile> files = ListFiles(ToNative(path));
    Totals machines("host");
    Progress progress(files.size());
    for (const ListedFile& file : files) {
      progress.Next();
      reader_.Read(file, [&](const EventDocument& document) {
        const std::vector<PlacedEvent> events = selection_.EventsOf(document);
        machines.Add(document, events);
        comparison_.Add(side, events);
      });
    }
    if (comparison_.Events(side) == 0)
      throw Failure("no selected event in " + Printable(path) + ", so nothing was compared");
    Print(std::string(side == 0 ? "" : "\n") + "The " + kSides[side] + ", " + Printable(path) + ": " +
          Counted(comparison_.Events(side), "event") + " of these machines\n" + machines.Table());
    if (side == 1) Print("\n");
  }
  static std::string Describe(const Comparison::Subject& subject) {
    std::string text = Column(subject.id, -7) + "  " + Shortened(subject.name);
    if (!subject.label.empty()) text += "  " + Shortened(subject.label) + "=" + Shortened(subject.value);
    return text;
  }
  static void PrintRow(const Comparison::Difference& difference) {
    const bool isOnly = difference.how == Comparison::How::kOnly;
    const std::string words = std::string(isOnly ? "only in" : "more in") + " the " + kSides[difference.side];
    Print(Column(words, 18) + Column(std::to_string(difference.counts[0]), -8) +
          Column(std::to_string(difference.counts[1]), -8) + "  " + Describe(difference.subject) + "\n");
  }

  const Selection selection_;
  DocumentReader reader_;
  Comparison comparison_;
};

}  // namespace

Status RunCompare(const CompareOptions& options) {
  return Compare(options).Run();
}

}  // namespace varnel::tool
