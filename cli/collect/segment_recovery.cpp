// The start of SegmentStore: what the position file and the open segment's file say after any end of the
// program.

#include "collect/segment_reader.h"
#include "collect/segment_store.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace varnel::tool {
namespace {

NativePath Created(NativePath folder) {
  if (const FileError error = EnsureFolder(folder); !IsGood(error)) throw CannotWrite(folder, error);
  return folder;
}

}  // namespace

SegmentStore::SegmentStore(NativePath folder, const std::vector<NativePath>& eventFolders)
    : folder_(Created(std::move(folder))),
      lock_(folder_ + ToNative("collect.lock")),
      position_(folder_ + ToNative("collect.position")) {
  if (lock_.Error().problem == Problem::kInUse)
    throw Failure(Printable(ToUtf8(folder_)) +
                  " is in use by another varnel collect; stop it, or name another folder with --to");
  if (!IsGood(lock_.Error())) throw CannotWrite(folder_ + ToNative("collect.lock"), lock_.Error());
  std::vector<Record> taken;
  if (!position_.Load([&](RecordReader& record) { return TakeRecord(record, taken); })) StartNumbering();
  if (isOpen_) Recover(taken);
  for (const NativePath& path : eventFolders) static_cast<void>(files_.NumberOf(path));
  if (const FileError error = WritePosition(); !IsGood(error))
    throw CannotWrite(folder_ + ToNative("collect.position"), error);
}

std::optional<std::uint64_t> SegmentStore::NumberIn(const NativePath& name, std::string_view ending) {
  const std::string text = ToUtf8(name);
  if (text.size() < 8 + ending.size() || !text.ends_with(ending)) return std::nullopt;
  std::uint64_t number = 0;
  const char* const last = text.data() + text.size() - ending.size();
  const auto [end, error] = std::from_chars(text.data(), last, number);
  if (error != std::errc() || end != last) return std::nullopt;
  return number;
}

bool SegmentStore::TakeRecord(RecordReader& record, std::vector<Record>& taken) {
  Record file;
  switch (record.Kind()) {
    case KnownFiles::kFolderRecord:
      return files_.TakeFolder(record);
    case KnownFiles::kFileRecord:
      if (!files_.TakeFile(record, file)) return false;
      files_[file.folder].files[file.name] = file.file;
      return true;
    case KnownFiles::kTakenRecord:
      if (!files_.TakeFile(record, file)) return false;
      taken.push_back(std::move(file));
      return true;
    case kStateRecord:
      return TakeState(record);
    default:
      return TakeName(record);
  }
}

bool SegmentStore::TakeState(RecordReader& record) {
  const std::uint64_t number = record.Number(), opened = record.Number(), end = record.Number();
  const std::uint64_t sum = record.Number(), files = record.Number();
  if (!record.IsGood()) return false;
  number_ = number;
  isOpen_ = opened > 0;
  receipt_.opened = WallTime(std::chrono::milliseconds(opened));
  end_ = end;
  sum_ = sum;
  receipt_.files = files;
  return true;
}

bool SegmentStore::TakeName(RecordReader& record) {
  std::string written;
  if (record.Kind() == kVanishedRecord) {
    const NativePath path = record.Path();
    return record.IsGood() && ListVanished(path, written);
  }
  if (record.Kind() == kPassedOverRecord) {
    const NativePath path = record.Path();
    const std::string why = record.Text();
    return record.IsGood() && ListPassedOver(path, why, written);
  }
  if (record.Kind() != kUnlistedRecord) return false;
  const std::uint64_t passedOver = record.Number(), vanished = record.Number(), lost = record.Number();
  if (!record.IsGood()) return false;
  receipt_.passedOver.AddUnlisted(passedOver);
  receipt_.vanished.AddUnlisted(vanished);
  receipt_.noticesLost += lost;
  return true;
}

// An event file whose lines are not in the open segment is only known to have been seen.
void SegmentStore::Recover(const std::vector<Record>& taken) {
  const NativePath path = PathOf(number_, kPart);
  SegmentReader reader(path);
  if (!reader.AddTo(receipt_.lines, end_, sum_))
    throw Failure(
        Printable(ToUtf8(path)) +
        " has been damaged; move it and collect.position away to start again: each event file that is "
        "still in its folder is then taken once more, and event.id shows the duplicates");
  for (const Record& record : taken) {
    KnownFile& known = files_[record.folder].files[record.name];
    known = KnownFile();
    if (!reader.AddTo(receipt_.lines, record.end, record.sum)) continue;
    known = record.file;
    end_ = record.end;
    sum_ ^= record.sum;
    ++receipt_.files;
  }
  part_.emplace(path, end_);
  // The new position guards these lines, so they must be on the disk before it.
  if (const FileError error = part_->Flush(); !IsGood(error)) throw CannotWrite(path, error);
}

void SegmentStore::StartNumbering() {
  for (const FolderFile& file : ListFolder(folder_).files) {
    if (NumberIn(file.name, kPart))
      throw Failure(Printable(ToUtf8(folder_ + file.name)) +
                    " is an open segment, but collect.position beside it is missing; move the segment away");
    for (const char* const ending : {kSegment, kReceipt})
      number_ = std::max(number_, NumberIn(file.name, ending).value_or(0) + 1);
  }
}

}  // namespace varnel::tool
