// varnel show: shows the events of event files as a list, a tree, JSON or a page.

#include "catalogue/catalogue_file.h"
#include "catalogue/catalogue_notes.h"
#include "collect/shown_files.h"
#include "commands/commands.h"
#include "console/console.h"
#include "console/streams.h"
#include "eventfile/event_files.h"
#include "eventfile/event_json.h"
#include "eventfile/event_text.h"
#include "eventfile/files.h"
#include "eventfile/page.h"

#include <map>
#include <optional>
#include <set>

namespace varnel::tool {
namespace {

constexpr std::chrono::milliseconds kPoll(250);
constexpr std::size_t kPart = 65'536;

// A file as --follow has seen it at its last look at the folder.
struct Followed {
  enum class State {
    kUnread,      // not read yet, or in use by another program: read it at the next look
    kUnfinished,  // read it again when its size has changed
    kFinished,    // shown or refused: do not read it again
  };
  State state = State::kUnread;
  std::uint64_t size = 0;  // when it was read
  unsigned lastLook = 0;   // the number of the last look that found it
};

class Show {
 public:
  explicit Show(const ShowOptions& options) : options_(options) {
    if (!options.catalogue.empty()) notes_ = NotesOf(catalogue::LoadCatalogue(options.catalogue));
    if (!options.state.empty()) shown_.emplace(FullPath(ToNative(options.state)));
    if (!options.page.empty()) page_.emplace(FullPath(ToNative(options.page)), notes_.page);
  }

  // Shows the files of these paths that have not been shown yet.
  void Look(const std::vector<NativePath>& paths) {
    ++look_;
    bool isComplete = true;
    for (const NativePath& path : paths) {
      const std::optional<std::vector<ListedFile>> files = List(path);
      if (!files) {
        isComplete = false;
        continue;
      }
      Progress progress(files->size());
      for (const ListedFile& file : *files) {
        progress.Next();
        if (options_.follow)
          Follow(file, followed_[file.path]);
        else
          ShowFile(file);
      }
    }
    Flush();
    // A deleted name may be used again for another file.
    if (isComplete)
      std::erase_if(followed_, [this](const auto& entry) { return entry.second.lastLook != look_; });
  }
  [[nodiscard]] Status Result() const { return status_; }
  void FinishPage() {
    if (page_) page_->Finish();
  }

 private:
  // Returns nothing if the path cannot be listed.
  std::optional<std::vector<ListedFile>> List(const NativePath& path) {
    // The agent's folders may be created with its first event.
    if (options_.paths.empty() && FactsOf(path).error.problem == Problem::kMissing)
      return std::vector<ListedFile>();
    try {
      return ListFiles(path);
    } catch (const Failure& failure) {
      if (complaints_.insert(path).second) PrintError(failure.what());
      status_ = kFailed;
      return std::nullopt;
    }
  }
  void Follow(const ListedFile& file, Followed& known) {
    known.lastLook = look_;
    if (known.state == Followed::State::kFinished) return;
    const std::uint64_t size = FactsOf(file.path).size;  // before reading, because it may grow meanwhile
    if (known.state == Followed::State::kUnfinished && known.size == size) return;
    known.size = size;
    const auto seen = shown_ ? shown_->Look(file.path) : ShownFiles::Seen();
    known.state = seen.isShown ? Followed::State::kFinished : ShowFile(file);
    if (shown_ && !seen.isShown && known.state == Followed::State::kFinished) shown_->Add(seen);
  }
  Followed::State ShowFile(const ListedFile& file) {
    const EventFileReader::Result read = reader_.Read(file);
    if (read.state == FileState::kUnfinished && (options_.follow || !file.named))
      return read.isInUse ? Followed::State::kUnread : Followed::State::kUnfinished;
    if (!read.isGone) ShowWhole(file, read);  // a reader has collected a file that is gone
    return Followed::State::kFinished;
  }
  void ShowWhole(const ListedFile& file, const XmlVerdict& read) {
    if (read.state != FileState::kWhole)
      return PassOver(file, read.state == FileState::kUnreadable ? kFailed : kFound, read.fault.text);
    const auto document = DescribeDocument(ToUtf8(file.path), reader_.Tree().Root());
    if (!document) return PassOver(file, kFound, "not an event document");
    ShowDocument(*document);
  }
  void ShowDocument(const EventDocument& document) {
    const Sink add = [this](std::string_view text) { Add(text); };
    if (options_.tree) return ListElements(document, notes_, add);
    if (page_)
      return WriteEvents(document, JsonUse::kPage, [this](std::string_view line) { page_->Add(line); });
    if (!options_.json) return ListEvents(document, notes_, add);
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
    PrintError(Printable(ToUtf8(file.path)) + ": " + Shortened(why));
    status_ = std::max(status_, status);
  }
  void Flush() {
    if (!output_.empty()) Print(output_);
    output_.clear();
    if (shown_) shown_->Write();  // all events of the files that were added have been printed
  }

  const ShowOptions& options_;
  EventNotes notes_;
  EventFileReader reader_;
  std::string output_;
  std::optional<PageFile> page_;
  Status status_ = kDone;
  unsigned look_ = 0;
  std::map<NativePath, Followed> followed_;  // with --follow only
  std::optional<ShownFiles> shown_;          // with --state only
  std::set<NativePath> complaints_;          // paths whose fault has been printed
};

void ShowAll(const ShowOptions& options, Show& show) {
  std::vector<NativePath> paths;
  // A collected line names the file independently of the current folder.
  for (const std::string& path : options.paths) paths.push_back(FullPath(ToNative(path)));
  if (paths.empty()) paths = DefaultEventFolders("show");
  show.Look(paths);
  show.FinishPage();
  for (; options.follow; show.Look(paths)) Pause(kPoll);
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
