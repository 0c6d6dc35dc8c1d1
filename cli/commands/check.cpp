// varnel check: checks event files against the rules of docs/event-format.md, and a catalogue.

#include "catalogue/catalogue_file.h"
#include "catalogue/document_check.h"
#include "commands/commands.h"
#include "console/console.h"
#include "console/text.h"
#include "eventfile/event_files.h"
#include "eventfile/event_rules.h"
#include "eventfile/event_text.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace varnel::tool {
namespace {

constexpr std::size_t kMostFaults = 20;  // reported for one file

void PrintFault(const ListedFile& file, const Position& position, const Fault& fault) {
  Print(Printable(ToUtf8(file.path)) + ":" + std::to_string(position.line) + ":" +
        std::to_string(position.column) + ": " + Shortened(fault.text) + "\n");
}

// The catalogue that event files must follow.
class CatalogueRules {
 public:
  explicit CatalogueRules(const std::string& path)
      : catalogue_(catalogue::LoadCatalogue(path)), check_(catalogue_) {}

  // Adds the document's deviations to its other faults, in the order of the file.
  void AddFaults(const Element& root, std::vector<Fault>& faults) const {
    const auto document = DescribeDocument({}, root);
    if (!document) return;
    if (!check_.IsOfProduct(*document)) {
      faults.push_back({document->product.Offset(), "of another product than " + catalogue_.product.name});
    } else {
      check_.Check(
          *document, [](const void*) {},
          [&](const catalogue::Deviation& deviation) {
            if (faults.size() < 2 * kMostFaults)
              faults.push_back({deviation.at, deviation.path + " " + deviation.text});
          });
    }
    std::stable_sort(faults.begin(), faults.end(),
                     [](const Fault& one, const Fault& other) { return one.at < other.at; });
    faults.resize(std::min(faults.size(), kMostFaults));
  }

 private:
  const catalogue::Catalogue catalogue_;
  const catalogue::DocumentCheck check_;
};

// Returns nothing for a file that has been deleted since the folder was listed.
std::optional<Status> CheckFile(EventFileReader& reader, const CatalogueRules* rules,
                                const ListedFile& file) {
  const EventFileReader::Result read = reader.Read(file);
  if (read.isGone) return std::nullopt;
  if (read.state == FileState::kUnreadable) {
    PrintError(Printable(ToUtf8(file.path)) + ": " + read.fault.text);
    return kFailed;
  }
  std::vector<Fault> faults;
  if (read.state == FileState::kWhole) {
    faults = FindFaults(reader.Tree().Root(), kMostFaults);
    if (rules) rules->AddFaults(reader.Tree().Root(), faults);
  } else {
    faults.push_back(read.fault);
  }
  for (const Fault& fault : faults) PrintFault(file, reader.Tree().PositionOf(fault.at), fault);
  return faults.empty() ? kDone : kFound;
}

}  // namespace

Status RunCheck(const CheckOptions& options) {
  std::optional<CatalogueRules> rules;
  if (!options.catalogue.empty()) rules.emplace(options.catalogue);
  EventFileReader reader;
  Status worst = kDone;
  std::size_t count = 0, right = 0;
  for (const std::string& path : options.paths) {
    try {
      const std::vector<ListedFile> files = ListFiles(ToNative(path));
      Progress progress(files.size());
      for (const ListedFile& file : files) {
        progress.Next();
        const std::optional<Status> status = CheckFile(reader, rules ? &*rules : nullptr, file);
        if (!status) continue;
        ++count;
        if (*status == kDone) ++right;
        worst = std::max(worst, *status);
      }
    } catch (const Failure& failure) {
      PrintError(failure.what());
      worst = kFailed;
    }
  }
  Print(std::to_string(right) + " of " + Counted(count, "file") + " all right\n");
  return worst;
}

}  // namespace varnel::tool
