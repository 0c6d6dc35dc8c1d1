// varnel show: shows the events of event files as a list, a tree, JSON or a page.

#include "commands/commands.h"
#include "console/console.h"
#include "console/text.h"
#include "eventfile/event_files.h"
#include "eventfile/event_json.h"
#include "eventfile/event_text.h"
#include "eventfile/page.h"
#include "events/report_rules.h"
#include "machine/agent_folders.h"

#include <windows.h>

#include <map>
#include <optional>
#include <set>

namespace varnel::tool {
namespace {

constexpr DWORD kPollMilliseconds = 250;
constexpr std::size_t kPart = 65'536;

// Returns the full path: collected lines must name the file independently of the current folder.
std::wstring FullPath(const std::wstring& path) {
  std::wstring full(32'768, L'\0');
  full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full.empty() ? path : full;
}

class Show {
 public:
  explicit Show(const ShowOptions& options) : options_(options) {
    if (!options.page.empty()) page_.emplace(FullPath(ToWide(options.page)));
  }

  // Shows the files of these paths that have not been shown yet.
  void Once(const std::vector<std::wstring>& paths) {
    std::set<std::wstring> present;
    allListed_ = true;
    for (const std::wstring& path : paths) {
      const std::vector<ListedFile> files = List(path);
      Progress progress(files.size());
      for (const ListedFile& file : files) {
        progress.Next();
        present.insert(file.path);
        if (!seen_.contains(file.path) && IsWorthALook(file.path)) ShowFile(file);
      }
    }
    Flush();
    if (!allListed_) return;
    // A deleted name may be used again for another file.
    std::erase_if(seen_, [&present](const std::wstring& name) { return !present.contains(name); });
    std::erase_if(unfinished_, [&present](const auto& entry) { return !present.contains(entry.first); });
  }
  [[nodiscard]] Status Result() const { return status_; }
  void FinishPage() {
    if (page_) page_->Finish();
  }

 private:
  std::vector<ListedFile> List(const std::wstring& path) {
    // The agent's folders may be created with its first event.
    if (options_.paths.empty() && GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES &&
        (GetLastError() == ERROR_FILE_NOT_FOUND || GetLastError() == ERROR_PATH_NOT_FOUND))
      return {};
    try {
      return ListFiles(path);
    } catch (const Failure& failure) {
      if (complaints_.insert(path).second) PrintError(failure.what());
      status_ = kFailed;
      allListed_ = false;
      return {};
    }
  }
  // True unless the file is unfinished and has the size that it had before.
  bool IsWorthALook(const std::wstring& path) const {
    const auto entry = unfinished_.find(path);
    return entry == unfinished_.end() || entry->second != SizeOf(path);
  }
  void ShowFile(const ListedFile& file) {
    if (options_.follow)
      unfinished_[file.path] = SizeOf(file.path);  // before reading, because it may grow meanwhile
    EventFileReader::Result read = reader_.Read(file);
    if (read.isInUse) unfinished_.erase(file.path);  // its size may not change any more
    if (read.state == FileState::kUnfinished && (options_.follow || !file.named)) return;
    unfinished_.erase(file.path);
    if (options_.follow) seen_.insert(file.path);
    if (read.isGone) return;  // its reader has collected it
    if (read.state != FileState::kWhole)
      return PassOver(file, read.state == FileState::kUnreadable ? kFailed : kFound, read.fault.text);
    const auto document = DescribeDocument(ToUtf8(file.path), reader_.Tree().Root());
    if (!document) return PassOver(file, kFound, "not an event document");
    ShowDocument(*document);
  }
  void ShowDocument(const EventDocument& document) {
    const Sink add = [this](std::string_view text) { Add(text); };
    if (options_.tree) return ListElements(document, add);
    if (page_)
      return WriteEvents(document, JsonUse::kPage, [this](std::string_view line) { page_->Add(line); });
    if (!options_.json) return ListEvents(document, add);
    WriteEvents(document, JsonUse::kData, [this](std::string_view line) {
      Add(line);
      Add("\n");
    });
  }
  void Add(std::string_view text) {
    output_ += text;
    if (output_.size() > kPart) Flush();
  }
  void PassOver(const ListedFile& file, Status status, const std::string& why) {
    Flush();
    PrintError(Printable(file.path) + ": " + Shortened(why));
    status_ = std::max(status_, status);
  }
  void Flush() {
    if (!output_.empty()) Print(output_);
    output_.clear();
  }

  const ShowOptions& options_;
  EventFileReader reader_;
  std::string output_;
  std::optional<PageFile> page_;
  Status status_ = kDone;
  bool allListed_ = true;
  std::set<std::wstring> seen_;
  std::map<std::wstring, std::uint64_t> unfinished_;  // with their sizes when they were read
  std::set<std::wstring> complaints_;
};

// Returns the paths of the command line, or else the event folders of this machine's agent and server.
std::vector<std::wstring> Places(const ShowOptions& options) {
  std::vector<std::wstring> paths;
  for (const std::string& path : options.paths) paths.push_back(FullPath(ToWide(path)));
  if (!paths.empty()) return paths;
  for (const wchar_t* const softwareId : {L"", kServerSoftwareId})
    if (EventFolder folder = FolderOf(softwareId);
        !folder.path.empty() && (paths.empty() || _wcsicmp(paths[0].c_str(), folder.path.c_str()) != 0))
      paths.push_back(std::move(folder.path));
  if (paths.empty())
    throw Failure("no event folder is set on this machine; pass files or folders, or run varnel doctor");
  return paths;
}

void ShowAll(const ShowOptions& options, Show& show) {
  const std::vector<std::wstring> paths = Places(options);
  show.Once(paths);
  show.FinishPage();
  for (; options.follow; show.Once(paths)) Sleep(kPollMilliseconds);
}

}  // namespace

Status RunShow(const ShowOptions& options) {
  Show show(options);
  try {
    ShowAll(options, show);
  } catch (const OutputClosed&) {
    if (!options.follow) throw;
    return kDone;  // --follow ends this way only
  }
  return show.Result();
}

}  // namespace varnel::tool
