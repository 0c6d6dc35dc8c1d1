// varnel bundle: puts what support needs into one zip, on request without what identifies people and
// machines.

#include "bundle/bundle_file.h"
#include "bundle/free_text.h"
#include "bundle/redaction.h"
#include "commands/commands.h"
#include "console/console.h"
#include "console/sha256.h"
#include "eventfile/event_files.h"
#include "eventfile/event_rules.h"
#include "eventfile/event_text.h"
#include "selection/selection.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>

namespace varnel::tool {
namespace {

constexpr std::uint64_t kLargestLog = std::uint64_t{256} << 20;

constexpr char kReadMe[] =
    "contents.json lists the files with their sizes and SHA-256, and the files that are not in this zip, "
    "with the\r\n"
    "reason. The files' times in the zip are all 1980-01-01; event files have the times of their events.\r\n"
    "\r\n"
    "Of these, the zip has what there was:\r\n"
    "\r\n"
    "events/       event files: varnel show events\r\n"
    "logs/         logs\r\n"
    "doctor.txt    the rows of varnel doctor, from the machine on which this zip was made\r\n"
    "settings.txt  its settings\r\n"
    "\r\n";
constexpr char kAsTheyAre[] =
    "The files are as they were found: they name machines, users, addresses and paths.\r\n";
constexpr char kRedacted[] =
    "Names of machines and users, addresses, paths in users' folders, and values that a catalogue marks as "
    "personal\r\n"
    "or secret, are replaced by stand-ins such as user-3f9a0c41d2e8. The same value has the same stand-in in "
    "all\r\n"
    "files of this zip, and another one in every other zip.\r\n";
constexpr char kWithoutFreeText[] =
    "Texts that no catalogue declares are left out: [text, 23 characters] stands for such a text.\r\n";

std::string SumOf(std::string_view bytes) {
  Sha256 sum;
  sum.Add(bytes);
  return sum.Finish();
}

// Returns the bytes of a log. Throws Failure if it cannot be read.
std::string ReadLog(const std::string& path) {
  InputFile file(ToNative(path), InputFile::Links::kFollow);
  const std::uint64_t size = file.Size();
  if (size > kLargestLog) throw Failure(Printable(path) + ": larger than 256 MB; cut the log");
  std::string bytes(static_cast<std::size_t>(size), '\0');
  bytes.resize(file.Read(bytes.data(), bytes.size()));
  if (file.Error().problem == Problem::kNotFile) throw Failure(Printable(path) + ": not a file on a disk");
  if (file.Error().problem != Problem::kNone)
    throw Failure(Printable(path) + ": " + DescribeError(file.Error().number));
  return bytes;
}

class Bundler {
 public:
  explicit Bundler(const BundleOptions& options) : options_(options), selection_(options.terms) {
    if (!options.redact) return;
    redaction_.emplace(RandomKey(), options.freeText);
    for (const std::string& path : options.catalogues) redaction_->AddCatalogue(path);
  }

  Status Run() {
    const std::vector<ListedFile> files = List();
    BundleFile bundle(FullPath(ToNative(options_.to)));
    std::vector<std::string> logs;
    for (const std::string& path : options_.logs) logs.push_back(ReadLog(path));
    if (!options_.withoutMachine) machine_ = DescribeMachine();
    if (redaction_) Learn(files, logs);
    AddEvents(files, bundle);
    AddLogs(logs, bundle);
    for (const auto& [name, text] : machine_.files)
      bundle.Add("", name, redaction_ ? redaction_->RedactedText(text) : text);
    if (events_ == 0 && logs.empty() && machine_.files.empty())
      throw Failure(
          "nothing for a bundle: no event file is in these paths; pass event files or their folders");
    bundle.Add("", "README.txt",
               "Made by varnel bundle " VARNEL_VERSION ".\r\n\r\n" + std::string(kReadMe) + Meaning());
    bundle.Finish(Settings());
    Print(Printable(options_.to) + ": " + Counted(events_, "event file") + ", " +
          Counted(logs.size(), "log") + ", " + Counted(leftOut_, "file") + " left out" +
          (redaction_ ? ", " + Counted(redaction_->Count(), "value") + " replaced" : "") + "\n");
    return status_;
  }

 private:
  // What a file is: an event document that keeps the rules, or why not.
  struct Looked {
    EventFileReader::Result read;
    std::optional<EventDocument> document;  // without faults
    std::string_view state = "whole";
    bool isSelected = true;  // has an event that is selected, or may have one
  };

  std::vector<ListedFile> List() {
    std::vector<NativePath> paths;
    for (const std::string& path : options_.paths) paths.push_back(ToNative(path));
    if (paths.empty()) paths = DefaultEventFolders("bundle");
    std::vector<ListedFile> files;
    for (const NativePath& path : paths) {
      RefuseFolderOf(path);
      // The agent's folders may be created with its first event.
      if (options_.paths.empty() && FactsOf(path).error.problem == Problem::kMissing) continue;
      try {
        const std::vector<ListedFile> listed = ListFiles(path);
        files.insert(files.end(), listed.begin(), listed.end());
      } catch (const Failure& failure) {
        PrintError(failure.what());
        status_ = kFailed;
      }
    }
    return files;
  }
  // A bundle in an event folder would be collected.
  void RefuseFolderOf(const NativePath& path) const {
    const std::filesystem::path target = std::filesystem::path(FullPath(ToNative(options_.to))).parent_path();
    const std::filesystem::path full = FullPath(path);
    std::error_code error;
    if (std::filesystem::equivalent(target, FactsOf(path).isFolder ? full : full.parent_path(), error))
      throw Failure("--to is in the folder of the event files, which must not change; choose another folder");
  }

  Looked Look(const ListedFile& file) {
    Looked looked{reader_.Read(file), {}};
    // A whole file is wrong unless it keeps the rules.
    constexpr std::string_view kStates[] = {"wrong", "unfinished", "broken", "unreadable"};
    looked.state = kStates[static_cast<std::size_t>(looked.read.state)];
    if (looked.read.state != FileState::kWhole) return looked;
    const std::vector<Fault> faults = FindFaults(reader_.Tree().Root(), 1);
    if (!faults.empty()) {
      looked.read.fault = faults.front();
      return looked;
    }
    looked.document = DescribeDocument(ToUtf8(file.path), reader_.Tree().Root());
    looked.state = "whole";
    looked.isSelected = selection_.IsEverything() || !selection_.EventsOf(*looked.document).empty();
    return looked;
  }

  void Learn(const std::vector<ListedFile>& files, const std::vector<std::string>& logs) {
    Progress progress(files.size());
    for (const ListedFile& file : files) {
      progress.Next();
      const Looked looked = Look(file);
      if (!looked.document || !looked.isSelected) continue;
      sums_[file.path] = SumOf(reader_.Bytes());
      redaction_->Learn(*looked.document);
    }
    for (const std::string& log : logs) redaction_->LearnLog(LogAsUtf8(log));
    for (const std::string& name : machine_.machines) redaction_->Learn(Form::kMachine, name);
    for (const std::string& name : machine_.users) redaction_->Learn(Form::kUser, name);
    redaction_->Learn(Form::kGuid, machine_.agent);
    for (const auto& [name, text] : machine_.files) redaction_->LearnText(text);
    redaction_->FinishLearning();
  }

  void AddEvents(const std::vector<ListedFile>& files, BundleFile& bundle) {
    Progress progress(files.size());
    for (const ListedFile& file : files) {
      progress.Next();
      AddEvent(file, bundle);
    }
  }
  void AddEvent(const ListedFile& file, BundleFile& bundle) {
    const Looked looked = Look(file);
    if (looked.read.isGone || !looked.isSelected) return;
    const std::string path = ToUtf8(file.path);
    const std::string name(FileNameOf(path));
    if (!looked.document) {
      status_ = std::max(status_, looked.read.state == FileState::kUnreadable ? kFailed : kFound);
      PrintError(Printable(path) + ": " + Shortened(looked.read.fault.text));
      // The words of a fault may quote the file.
      const std::string reason =
          std::string(looked.state) + (redaction_ ? "" : ": " + looked.read.fault.text);
      const bool isEventFile = file.named || name.ends_with(".xml") || name.ends_with(".txml");
      if (redaction_ || !isEventFile || !selection_.IsEverything() ||
          looked.read.state == FileState::kUnreadable)
        return LeaveOut(bundle, name, reason);
    } else if (redaction_ && sums_[file.path] != SumOf(reader_.Bytes())) {
      status_ = std::max(status_, kFound);
      PrintError(Printable(path) + ": changed while the bundle was made, so it is left out; try again");
      return LeaveOut(bundle, name, "changed");
    }
    ++events_;
    if (redaction_)
      bundle.Add("events/", redaction_->RedactedFileName(name), redaction_->Redacted(*looked.document),
                 looked.state);
    else
      bundle.Add("events/", name, reader_.Bytes(), looked.state);
  }
  void LeaveOut(BundleFile& bundle, const std::string& name, const std::string& reason) {
    ++leftOut_;
    bundle.LeaveOut(redaction_ ? redaction_->RedactedFileName(name) : name, reason);
  }
  void AddLogs(const std::vector<std::string>& logs, BundleFile& bundle) {
    int number = 0;
    for (const std::string& log : logs)
      if (redaction_)  // a file's name may be a person's
        bundle.Add("logs/", "log_" + std::to_string(++number) + ".txt",
                   redaction_->RedactedLog(LogAsUtf8(log)));
      else
        bundle.Add("logs/", FileNameOf(options_.logs[static_cast<std::size_t>(number++)]), log);
  }

  std::string Meaning() const {
    if (!redaction_) return kAsTheyAre;
    return std::string(kRedacted) + (options_.freeText ? "" : kWithoutFreeText);
  }
  std::string Settings() const {
    const auto word = [](bool value) { return std::string(value ? "true" : "false"); };
    return "\"version\": \"" VARNEL_VERSION "\", \"redacted\": " + word(options_.redact) +
           ", \"freeText\": " + word(!options_.redact || options_.freeText) + ",";
  }

  const BundleOptions& options_;
  const Selection selection_;
  std::optional<Redaction> redaction_;
  MachineTexts machine_;
  EventFileReader reader_;
  std::map<NativePath, std::string> sums_;  // of the files that the first pass has read
  std::size_t events_ = 0;
  std::size_t leftOut_ = 0;
  Status status_ = kDone;
};

}  // namespace

Status RunBundle(const BundleOptions& options) {
  return Bundler(options).Run();
}

}  // namespace varnel::tool
