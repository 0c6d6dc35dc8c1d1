// varnel show: shows the selected events of event files, as commands/show_output.h writes them.

#include "collect/shown_files.h"
#include "commands/commands.h"
#include "commands/show_output.h"
#include "console/console.h"
#include "console/streams.h"
#include "eventfile/document_reader.h"
#include "eventfile/event_forms.h"
#include "eventfile/files.h"
#include "selection/event_order.h"
#include "selection/selection.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace varnel::tool {
namespace {

constexpr std::chrono::milliseconds kPoll(250);

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

// Returns the last N to show, if only these are.
std::optional<std::size_t> LastOf(const ShowOptions& options) {
  if (options.last.empty()) return std::nullopt;
  return *std::max_element(options.last.begin(), options.last.end());
}

class Show {
 public:
  explicit Show(const ShowOptions& options)
      : options_(options),
        selection_(options.terms),
        output_(options),
        reader_({options.follow, [this] { output_.FlushUnlessHeld(); }}) {
    if (!options.state.empty()) shown_.emplace(FullPath(ToNative(options.state)));
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
    output_.Flush();
    if (shown_) shown_->Write();  // all events of the files that were added have been printed
    // A deleted name may be used again for another file.
    if (isComplete)
      std::erase_if(followed_, [this](const auto& entry) { return entry.second.lastLook != look_; });
  }
  // Shows the events in the order of time. Reads every file to find the order, and those with events to show
  // again, so that only the texts of files whose times overlap are kept.
  void ShowInOrder(const std::vector<NativePath>& paths) {
    std::vector<ListedFile> files;
    EventOrder order(LastOf(options_));
    for (const NativePath& path : paths) {
      std::optional<std::vector<ListedFile>> found = List(path);
      if (!found) continue;
      Progress progress(found->size());
      for (ListedFile& file : *found) {
        progress.Next();
        reader_.Read(file, [&](const EventDocument& document) { AddTo(order, files.size(), document); });
        files.push_back(std::move(file));
      }
    }
    order.Finish(options_.reverse);
    std::map<std::uint32_t, std::string> waiting;  // texts by rank
    std::uint32_t rank = 0;                        // of the next text
    while (const auto chosen = order.NextFile()) {
      ShowChosen(files[chosen->file], chosen->events, waiting);
      for (auto next = waiting.begin(); next != waiting.end() && next->first == rank; ++rank) {
        output_.Add(next->second);
        next = waiting.erase(next);
      }
    }
  }
  // True if the order of the events is not that of the files.
  [[nodiscard]] bool IsInOrder(std::size_t paths) const {
    if (options_.follow) return false;
    const bool isOrderSeen = options_.tree || output_.IsByEvent();
    return !options_.last.empty() || (isOrderSeen && (options_.reverse || paths > 1));
  }
  [[nodiscard]] Status Result() const { return std::max(reader_.Worst(), output_.Worst()); }
  void Finish() { output_.Finish(); }

 private:
  // Returns nothing if the path cannot be listed.
  std::optional<std::vector<ListedFile>> List(const NativePath& path) {
    // The agent's folders may be created with its first event.
    if (options_.paths.empty() && FactsOf(path).error.problem == Problem::kMissing)
      return std::vector<ListedFile>();
    return reader_.List(path);
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
    const EventFileReader::Result read = reader_.Read(file, [this](const EventDocument& document) {
      const std::vector<PlacedEvent> events = selection_.EventsOf(document);
      if (!events.empty() || selection_.IsEverything()) output_.Show(document, events);
    });
    if (read.state != FileState::kUnfinished) return Followed::State::kFinished;
    return read.isInUse ? Followed::State::kUnread : Followed::State::kUnfinished;
  }
  void AddTo(EventOrder& order, std::size_t file, const EventDocument& document) {
    const std::vector<PlacedEvent> events = selection_.EventsOf(document);
    if (!events.empty()) output_.NoteMachine(document);
    for (const PlacedEvent& event : events)
      order.Add(file, event.place, ParseTime(Facts(event.element, kEventFacts).Text(2)));
    // The tree also has documents without events.
    if (events.empty() && options_.tree && options_.last.empty() && selection_.IsEverything())
      order.Add(file, 0, std::nullopt);
  }
  // Shows events of a file, or adds their texts to `waiting`. The file may be gone, or be another one now.
  void ShowChosen(const ListedFile& file, const std::vector<EventOrder::Ranked>& chosen,
                  std::map<std::uint32_t, std::string>& waiting) {
    std::map<std::size_t, std::string*> texts;  // by place
    for (const auto& [rank, place] : chosen) texts[place] = &waiting[rank];
    const std::optional<EventDocument> document = reader_.ReadAgain(file);
    if (!document) return;
    std::vector<PlacedEvent> events = selection_.EventsOf(*document);
    std::erase_if(events, [&](const PlacedEvent& event) { return !texts.contains(event.place); });
    if (!output_.IsByEvent()) return output_.Show(*document, events);
    output_.Render(*document, events,
                   [&](const PlacedEvent& event, std::string_view text) { *texts[event.place] += text; });
  }

  const ShowOptions& options_;
  const Selection selection_;
  ShowOutput output_;
  DocumentReader reader_;
  unsigned look_ = 0;
  std::map<NativePath, Followed> followed_;  // with --follow only
  std::optional<ShownFiles> shown_;          // with --state only
};

void ShowAll(const ShowOptions& options, Show& show) {
  if (options.empty) return show.Finish();
  std::vector<NativePath> paths;
  // A collected line names the file independently of the current folder.
  for (const std::string& path : options.paths) paths.push_back(FullPath(ToNative(path)));
  if (paths.empty()) paths = DefaultEventFolders("show");
  if (show.IsInOrder(paths.size()))
    show.ShowInOrder(paths);
  else
    show.Look(paths);
  show.Finish();
  for (; options.follow; show.Look(paths)) Pause(kPoll);
}

}  // namespace

Status RunShow(const ShowOptions& options) {
  if (options.follow && (options.reverse || !options.last.empty()))
    throw Failure(
        "--follow shows events as they come, so it cannot reverse them or find the last ones; leave out "
        "--follow, or --reverse and --last");
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
