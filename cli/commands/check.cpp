// varnel check: checks event files against the rules of docs/event-format.md.

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

// Returns nothing for a file that has been deleted since the folder was listed.
std::optional<Status> CheckFile(EventFileReader& reader, const ListedFile& file) {
  const EventFileReader::Result read = reader.Read(file);
  if (read.isGone) return std::nullopt;
  if (read.state == FileState::kUnreadable) {
    PrintError(Printable(ToUtf8(file.path)) + ": " + read.fault.text);
    return kFailed;
  }
  std::vector<Fault> faults;
  if (read.state == FileState::kWhole)
    faults = FindFaults(reader.Tree().Root(), kMostFaults);
  else
    faults.push_back(read.fault);
  for (const Fault& fault : faults) PrintFault(file, reader.Tree().PositionOf(fault.at), fault);
  return faults.empty() ? kDone : kFound;
}

}  // namespace

Status RunCheck(const CheckOptions& options) {
  EventFileReader reader;
  Status worst = kDone;
  std::size_t count = 0, right = 0;
  for (const std::string& path : options.paths) {
    try {
      const std::vector<ListedFile> files = ListFiles(ToNative(path));
      Progress progress(files.size());
      for (const ListedFile& file : files) {
        progress.Next();
        const std::optional<Status> status = CheckFile(reader, file);
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
  Print(std::to_string(right) + " of " + std::to_string(count) + (count == 1 ? " file" : " files") +
        " all right\n");
  return worst;
}

}  // namespace varnel::tool
