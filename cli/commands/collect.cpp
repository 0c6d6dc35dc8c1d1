// varnel collect: takes event files as they appear into closed segments of JSON lines.

#include "collect/collector.h"
#include "commands/commands.h"
#include "console/console.h"

#include <algorithm>

namespace varnel::tool {
namespace {

bool IsSame(const NativePath& one, const NativePath& other) {
  return KeyOf(one) == KeyOf(other);
}

CollectorOptions OptionsOf(const CollectOptions& options) {
  CollectorOptions full;
  for (const std::string& path : options.folders) full.folders.push_back(FullPath(ToNative(path)));
  full.mayBeMissing = full.folders.empty();  // the agent's folders may be created with its first event
  if (full.folders.empty()) full.folders = DefaultEventFolders("collect");
  full.to = WithSeparator(FullPath(ToNative(options.to)));
  std::vector<NativePath> folders;
  for (NativePath& given : full.folders) {
    const PathFacts facts = FactsOf(given);
    NativePath path = WithSeparator(std::move(given));
    if (IsGood(facts.error) && !facts.isFolder)
      throw Failure(Printable(ToUtf8(path)) + " is a file; pass folders with event files");
    if (IsSame(path, full.to))
      throw Failure("--to names an event folder; choose a folder of its own for the segments");
    const auto isThis = [&](const NativePath& other) { return IsSame(path, other); };
    if (std::none_of(folders.begin(), folders.end(), isThis)) folders.push_back(std::move(path));
  }
  full.folders = std::move(folders);
  full.segmentBytes = options.segmentBytes;
  full.every = std::chrono::milliseconds(options.everyMilliseconds);
  full.diskBytes = options.diskBytes;
  return full;
}

}  // namespace

Status RunCollect(const CollectOptions& options) {
  Collector collector(OptionsOf(options));
  if (options.once) return collector.RunOnce();
  collector.Run();
}

}  // namespace varnel::tool
