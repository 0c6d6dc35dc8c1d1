#include "collect/collector.h"

#include "eventfile/event_identifier.h"
#include "eventfile/event_json.h"
#include "eventfile/event_text.h"

#include <algorithm>
#include <charconv>
#include <tuple>
#include <utility>

namespace varnel::tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLook(1);        // between two looks, if they are quick
constexpr std::chrono::minutes kRetry(1);       // between two readings of an unreadable file
constexpr std::chrono::minutes kLateNotice(1);  // that a notice may come after its change
constexpr std::uint64_t kUnfinished = 60;       // age in seconds at which an unfinished file is passed over
constexpr std::uint64_t kTicks = 10'000'000;    // of FILETIME in a second

// Returns the age of a file's last change in seconds.
std::uint64_t AgeOf(const FolderFile& file) {
  constexpr std::uint64_t kEpoch = 11'644'473'600;  // from the year 1601 on
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto seconds =
      static_cast<std::uint64_t>(std::chrono::floor<std::chrono::seconds>(now).count()) + kEpoch;
  return seconds - std::min(seconds, file.written / kTicks);
}

std::uint64_t NumberOf(const std::string& digest) {
  std::uint64_t number = 0;
  std::from_chars(digest.data(), digest.data() + digest.size(), number, 16);
  return number;
}

}  // namespace

Collector::Collector(const CollectorOptions& options)
    : options_(options), store_(options.to, options.folders), watch_(options.folders) {
  for (const NativePath& path : options.folders) numbers_.push_back(store_.Files().NumberOf(path));
}

Status Collector::RunOnce() {
  isRetrying_ = true;
  LookAtAll();
  Close();
  return status_;
}

void Collector::Run() {
  Clock::time_point next, retry;
  for (;;) {
    if (const Clock::time_point now = Clock::now(); now >= next) {
      isRetrying_ = now >= retry;
      if (isRetrying_) retry = now + kRetry;
      watch_.Renew();
      LookAtAll();
      // Listing a large folder must not keep the machine busy.
      next = Clock::now() + std::max<Clock::duration>(kLook, 20 * listing_);
    }
    CloseIfDue();
    watch_.Wait(std::min(options_.every, std::chrono::duration_cast<std::chrono::milliseconds>(kLook)));
    watch_.Drain(notices_);
    TakeNotices();
  }
}

void Collector::LookAtAll() {
  ++look_;
  listing_ = {};
  // A notice that comes after some looks would name its file once more.
  std::erase_if(forgotten_,
                [now = Clock::now()](const auto& entry) { return now - entry.second > kLateNotice; });
  isBlocked_ = false;
  if (const FileError error = store_.Publish(); !IsGood(error)) Note(error);
  closedBytes_ = store_.ClosedBytes();
  for (std::size_t i = 0; i < numbers_.size(); ++i) LookAt(i);
}

void Collector::LookAt(std::size_t folder) {
  const NativePath& path = FolderOf(folder).path;
  const Clock::time_point start = Clock::now();
  FolderListing listing = ListFolder(path);
  listing_ += Clock::now() - start;
  if (!IsGood(listing.error)) {
    // What is known of its files stays known: the folder may be on a drive that comes back.
    if (options_.mayBeMissing && listing.error.problem == Problem::kMissing) return;
    if (unlisted_.insert(folder).second)
      PrintError(Printable(ToUtf8(path)) + ": " + DescribeError(listing.error.number));
    status_ = kFailed;
    return;
  }
  unlisted_.erase(folder);
  std::sort(listing.files.begin(), listing.files.end(), [](const FolderFile& one, const FolderFile& other) {
    return std::tie(one.written, one.name) < std::tie(other.written, other.name);
  });
  for (const FolderFile& file : listing.files) {
    Consider(folder, file);
    watch_.Drain(notices_);
    CloseIfDue();
  }
  ForgetAbsent(folder);
}

void Collector::ForgetAbsent(std::size_t folder) {
  std::erase_if(FolderOf(folder).files, [&](const auto& entry) {
    const auto& [name, known] = entry;
    if (known.look == look_) return false;
    forgotten_.insert_or_assign({folder, name}, Clock::now());
    if (known.kind == Kind::kSeen) Vanish(folder, name);
    return true;
  });
}

void Collector::TakeNotices() {
  // Only those of now, because more may come as quickly as they are taken.
  for (std::size_t left = notices_.size(); left > 0; --left) {
    const Notice notice = std::move(notices_.front());
    notices_.pop_front();
    watch_.Drain(notices_);
    if (notice.kind != Notice::Kind::kLost) {
      TakeNotice(notice);
      continue;
    }
    PrintError("the system has lost change notifications; files that came and went meanwhile are not named");
    store_.CountLostNotices();
  }
}

void Collector::TakeNotice(const Notice& notice) {
  auto& files = FolderOf(notice.folder).files;
  const FoundFile found = FindFile(FolderOf(notice.folder).path, notice.name);
  const bool isForgotten = forgotten_.contains({notice.folder, notice.name});
  if (found.problem == Problem::kNone || notice.kind != Notice::Kind::kCame)
    forgotten_.erase({notice.folder, notice.name});
  if (found.problem == Problem::kNone) return Consider(notice.folder, found.file);
  if (found.problem != Problem::kMissing) return;
  const auto known = files.find(notice.name);
  const bool isTaken = known != files.end() && known->second.kind != Kind::kSeen;
  switch (notice.kind) {
    case Notice::Kind::kCame:  // its kGone follows
      if (known == files.end() && !isForgotten) files[notice.name].look = look_;
      return;
    case Notice::Kind::kGone:
      if (!isForgotten && !isTaken) Vanish(notice.folder, notice.name);
      [[fallthrough]];
    default:
      if (known != files.end()) files.erase(known);
  }
}

void Collector::Consider(std::size_t folder, const FolderFile& file) {
  KnownFile& known = FolderOf(folder).files[file.name];
  known.look = look_;
  const bool isDue = (known.kind == Kind::kUnreadable && isRetrying_) ||
                     (known.kind == Kind::kSeen && AgeOf(file) >= kUnfinished);
  if ((isDue || !known.IsUnchanged(file)) && HasRoom()) Read(folder, file, known);
}

void Collector::Read(std::size_t folder, const FolderFile& file, KnownFile& known) {
  const EventFileReader::Result read = reader_.Read({FolderOf(folder).path + file.name});
  if (read.isGone) {
    known = {};  // the look that follows, or its notice, names it
    return;
  }
  switch (read.state) {
    case FileState::kWhole:
      return TakeEvents(folder, file, known);
    case FileState::kUnfinished:
      if (AgeOf(file) >= kUnfinished)
        return PassOver(folder, file, known, read.isInUse ? Kind::kUnreadable : Kind::kPassedOver,
                        read.fault.text);
      known.kind = Kind::kSeen;
      known.size = file.size;
      known.written = read.isInUse ? 0 : file.written;  // 0: read it again at the next look
      return;
    case FileState::kUnreadable:
      return PassOver(folder, file, known, Kind::kUnreadable, read.fault.text);
    default:
      return PassOver(folder, file, known, Kind::kPassedOver, read.fault.text);
  }
}

void Collector::TakeEvents(std::size_t folder, const FolderFile& file, KnownFile& known) {
  auto document = DescribeDocument(ToUtf8(FolderOf(folder).path + file.name), reader_.Tree().Root());
  if (!document) return PassOver(folder, file, known, Kind::kPassedOver, "not an event document");
  document->digest = DigestOf(*document);
  const std::uint64_t digest = NumberOf(document->digest);
  const bool isSame = known.kind == Kind::kTaken && known.digest == digest;
  const KnownFile taken{Kind::kTaken, file.size, file.written, digest, look_};
  if (isSame) {
    known = taken;
    return;
  }
  WriteEvents(*document, EventsOf(*document), JsonUse::kData,
              [this](const PlacedEvent&, std::string_view line) { store_.AddLine(line); });
  const FileError error = store_.Take(numbers_[folder], file.name, taken);
  Note(error);
  if (!IsGood(error))
    known.written = 0;
  else if (store_.OpenBytes() >= options_.segmentBytes)
    Close();
}

void Collector::PassOver(std::size_t folder, const FolderFile& file, KnownFile& known, Kind kind,
                         const std::string& why) {
  const bool isNamed = known.kind == kind && (kind == Kind::kUnreadable || known.IsUnchanged(file));
  known = {kind, file.size, file.written, 0, look_};
  if (isNamed && look_ > 1) return;
  status_ = std::max(status_, kind == Kind::kUnreadable ? kFailed : kFound);
  PrintError(Printable(ToUtf8(FolderOf(folder).path + file.name)) + ": " + Shortened(why));
  if (!isNamed) store_.PassOver(numbers_[folder], file.name, known, why);
}

void Collector::Vanish(std::size_t folder, const NativePath& name) {
  PrintError(Printable(ToUtf8(FolderOf(folder).path + name)) + ": vanished before it could be taken");
  store_.NameVanished(numbers_[folder], name);
  status_ = std::max(status_, kFound);
}

bool Collector::HasRoom() {
  if (isBlocked_) return false;
  const bool isFull = closedBytes_ + store_.OpenBytes() >= options_.diskBytes;
  if (isFull && !isFull_) {
    PrintError(
        Printable(ToUtf8(options_.to)) +
        " has as many segments as --max-disk allows; no event file is taken until some are moved away");
    status_ = std::max(status_, kFound);
    if (store_.OpenBytes() > 0) Close();
  }
  if (!isFull && isFull_) PrintError(Printable(ToUtf8(options_.to)) + " has room again; going on");
  isFull_ = isFull;
  return !isFull;
}

void Collector::CloseIfDue() {
  const Receipt& open = store_.Open();
  if (isBlocked_ || open.IsEmpty() || (isFull_ && store_.OpenBytes() == 0)) return;
  const auto age = std::chrono::system_clock::now() - open.opened;
  if (age >= options_.every || age < age.zero()) Close();
}

void Collector::Close() {
  Note(store_.Close());
  closedBytes_ = store_.ClosedBytes();
}

void Collector::Note(const FileError& error) {
  if (IsGood(error)) {
    failure_ = {};
    return;
  }
  if (failure_.number != error.number)
    PrintError(Printable(ToUtf8(options_.to)) + " cannot be written: " + DescribeError(error.number) +
               "; nothing is taken until it can be");
  failure_ = error;
  isBlocked_ = true;
  status_ = kFailed;
}

}  // namespace varnel::tool
