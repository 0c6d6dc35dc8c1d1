#include "collect/segment_store.h"

#include "eventfile/json_line.h"

#include <algorithm>
#include <utility>

namespace varnel::tool {
namespace {

WallTime Now() {
  return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

}  // namespace

void SegmentStore::AddLine(std::string_view line) {
  if (!current_) Begin();
  if (!IsGood(current_->error)) return;
  current_->sum ^= receipt_.lines.Add(line);
  current_->piece += line;
  current_->piece += '\n';
  constexpr std::size_t kPiece = 64 * 1024;
  // The last piece is written when the record has been.
  if (current_->piece.size() - line.size() - 1 > kPiece) {
    current_->piece.resize(current_->piece.size() - line.size() - 1);
    WritePiece();
    current_->piece.assign(line) += '\n';
  }
}

FileError SegmentStore::Take(std::size_t folder, const NativePath& name, const KnownFile& file) {
  if (!current_) Begin();
  const std::uint64_t end = end_ + current_->written + current_->piece.size();
  std::string record;
  KnownFiles::WriteTaken(record, folder, name, file, end, current_->sum);
  if (IsGood(current_->error)) {
    current_->error = position_.Append(record);
    if (IsGood(current_->error)) {
      WritePiece();
      if (!IsGood(current_->error)) position_.TakeBack();
    }
  }
  const OpenFile done = std::move(*current_);
  current_.reset();
  if (!IsGood(done.error)) {
    receipt_.lines.Restore(done.mark);
    isTorn_ = true;
    return done.error;
  }
  end_ = end;
  sum_ ^= done.sum;
  ++receipt_.files;
  files_[folder].files[name] = file;
  return {};
}

void SegmentStore::PassOver(std::size_t folder, const NativePath& name, const KnownFile& file,
                            std::string_view why) {
  files_[folder].files[name] = file;
  std::string record, named;
  if (!ListPassedOver(files_[folder].path + name, why, named))
    RecordWriter(named, kUnlistedRecord).Numbers({1, 0, 0});
  KnownFiles::WriteFile(record, folder, name, file);
  Note(record + named);
}

void SegmentStore::NameVanished(std::size_t folder, const NativePath& name) {
  std::string record;
  if (!ListVanished(files_[folder].path + name, record))
    RecordWriter(record, kUnlistedRecord).Numbers({0, 1, 0});
  Note(record);
}

void SegmentStore::CountLostNotices() {
  ++receipt_.noticesLost;
  std::string record;
  RecordWriter(record, kUnlistedRecord).Numbers({0, 0, 1});
  Note(record);
}

std::uint64_t SegmentStore::ClosedBytes() const {
  std::uint64_t bytes = 0;
  for (const FolderFile& file : ListFolder(folder_).files)
    if (NumberIn(file.name, kSegment) || NumberIn(file.name, kReceipt)) bytes += file.size;
  return bytes;
}

FileError SegmentStore::Close() {
  if (receipt_.IsEmpty()) return {};
  FileError error = EnsureOpen();
  if (IsGood(error) && isTorn_) error = part_->CutTo(end_);
  if (IsGood(error)) error = part_->Flush();
  if (IsGood(error)) error = WriteReceipt();
  if (!IsGood(error)) return error;
  const auto closed = std::exchange(number_, number_ + 1);
  Receipt receipt = std::exchange(receipt_, {});
  isOpen_ = false;
  error = WritePosition();
  if (!IsGood(error)) {
    number_ = closed;
    receipt_ = std::move(receipt);
    isOpen_ = true;
    return error;
  }
  part_.reset();
  isTorn_ = false;
  end_ = sum_ = 0;
  named_.clear();
  mustPublish_ = true;
  return Publish();
}

FileError SegmentStore::Publish() {
  if (!mustPublish_) return {};
  // The position must be on the disk before anybody can take the segment away.
  FileError error = FlushFolder(folder_);
  const FolderListing listing = ListFolder(folder_);
  if (IsGood(error)) error = listing.error;
  for (const FolderFile& file : listing.files)
    if (const auto number = NumberIn(file.name, kPart); IsGood(error) && number && *number < number_)
      error = RenameFile(folder_ + file.name, PathOf(*number, kSegment));
  if (IsGood(error)) error = FlushFolder(folder_);
  mustPublish_ = !IsGood(error);
  return error;
}

NativePath SegmentStore::PathOf(std::uint64_t number, const char* ending) const {
  const std::string digits = std::to_string(number);
  return folder_ + ToNative(std::string(8 - std::min<std::size_t>(digits.size(), 8), '0') + digits + ending);
}

FileError SegmentStore::WriteReceipt() {
  const std::string segment = ToUtf8(PathOf(number_, kSegment));
  return ReplaceWhole(PathOf(number_, kReceipt), receipt_.Json(FileNameOf(segment), Now()));
}

FileError SegmentStore::WritePosition() {
  std::string records;
  files_.WriteAll(records);
  records += StateRecord();
  if (isOpen_) {
    records += named_;
    RecordWriter(records, kUnlistedRecord)
        .Numbers({receipt_.passedOver.Unlisted(), receipt_.vanished.Unlisted(), receipt_.noticesLost});
  }
  return position_.Rewrite(records);
}

std::string SegmentStore::StateRecord() const {
  std::string record;
  if (isOpen_) {
    const auto opened = static_cast<std::uint64_t>(receipt_.opened.time_since_epoch().count());
    RecordWriter(record, kStateRecord).Numbers({number_, opened, end_, sum_, receipt_.files});
  } else {
    RecordWriter(record, kStateRecord).Numbers({number_, 0, 0, 0, 0});
  }
  return record;
}

FileError SegmentStore::EnsureOpen() {
  if (isOpen_) return {};
  receipt_.opened = Now();
  part_.emplace(PathOf(number_, kPart), 0);
  FileError error = part_->CutTo(0);
  isOpen_ = IsGood(error);
  if (isOpen_) error = position_.Append(StateRecord());
  isOpen_ = IsGood(error);
  return error;
}

void SegmentStore::Begin() {
  current_.emplace();
  current_->mark = receipt_.lines.Save();
  current_->error = EnsureOpen();
  if (!IsGood(current_->error) || !isTorn_) return;
  current_->error = part_->CutTo(end_);
  isTorn_ = !IsGood(current_->error);
}

void SegmentStore::WritePiece() {
  current_->error = part_->Write(current_->piece);
  current_->written += current_->piece.size();
  current_->piece.clear();
}

void SegmentStore::Note(const std::string& records) {
  if (IsGood(EnsureOpen())) static_cast<void>(position_.Append(records));
}

bool SegmentStore::ListVanished(const NativePath& path, std::string& record) {
  std::string json;
  AppendJsonText(json, ToUtf8(path), JsonUse::kData);
  if (!receipt_.vanished.Add(json)) return false;
  RecordWriter(record, kVanishedRecord).Path(path);
  named_ += record;
  return true;
}

bool SegmentStore::ListPassedOver(const NativePath& path, std::string_view why, std::string& record) {
  std::string json;
  JsonLine line(json, json.max_size() / 2, JsonUse::kData);
  line.Text("file", ToUtf8(path));
  line.Text("why", why);
  line.Close();
  if (!receipt_.passedOver.Add(json)) return false;
  RecordWriter(record, kPassedOverRecord).Path(path).Text(why);
  named_ += record;
  return true;
}

}  // namespace varnel::tool
