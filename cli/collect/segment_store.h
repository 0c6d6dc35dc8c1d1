#pragma once

#include "collect/durable_files.h"
#include "collect/known_files.h"
#include "collect/position_file.h"
#include "collect/receipt.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// An event file whose lines are being added to a segment.
struct OpenFile {
  LineSums::Mark mark;
  std::string piece;          // lines that have not been written yet
  std::uint64_t written = 0;  // bytes of its lines that have been written
  std::uint64_t sum = 0;
  FileError error;
};

// The folder that varnel collect writes: closed segments with their receipts, the open segment and the
// position. docs/tool.md has the files.
//
// An event file belongs to a segment from the moment at which the last bytes of its lines are in the open
// segment's file: its record is already in the position file then, and a record without its lines is ignored.
// Writing a new position file closes a segment. If the program ends before it has renamed the segment, the
// next start does.
class SegmentStore {
 public:
  // Creates the folder if it is missing, owns its lock and goes on with the open segment. Throws Failure. All
  // paths are full, with a separator at their end.
  SegmentStore(NativePath folder, const std::vector<NativePath>& eventFolders);

  // Returns what is known of the event files, also of folders that are not among the event folders now.
  [[nodiscard]] KnownFiles& Files() { return files_; }

  // Adds the lines of one event file: AddLine for each, without its line end, then Take, which keeps `file`
  // in Files(). If Take fails, none of the lines has been taken.
  void AddLine(std::string_view line);
  [[nodiscard]] FileError Take(std::size_t folder, const NativePath& name, const KnownFile& file);

  // Name a file in the receipt. PassOver also keeps `file` in Files(). If the record cannot be written, the
  // file is named again after a kill.
  void PassOver(std::size_t folder, const NativePath& name, const KnownFile& file, std::string_view why);
  void NameVanished(std::size_t folder, const NativePath& name);
  void CountLostNotices();

  // Returns what the receipt of the open segment says so far.
  [[nodiscard]] const Receipt& Open() const { return receipt_; }
  // Returns the size of the open segment in bytes.
  [[nodiscard]] std::uint64_t OpenBytes() const { return end_; }
  // Returns the size of the closed segments and of the receipts in bytes.
  [[nodiscard]] std::uint64_t ClosedBytes() const;

  // Closes the open segment, with its receipt beside it. After a failure it is open or has no final name yet.
  [[nodiscard]] FileError Close();
  // Gives closed segments that have none their final name.
  [[nodiscard]] FileError Publish();

 private:
  using Record = KnownFiles::FileRecord;
  // Returns the number of a file like 00000001.jsonl; nothing for other names.
  [[nodiscard]] static std::optional<std::uint64_t> NumberIn(const NativePath& name, std::string_view ending);
  [[nodiscard]] NativePath PathOf(std::uint64_t number, const char* ending) const;
  [[nodiscard]] bool TakeRecord(RecordReader& record, std::vector<Record>& taken);
  [[nodiscard]] bool TakeState(RecordReader& record);
  [[nodiscard]] bool TakeName(RecordReader& record);
  void Recover(const std::vector<Record>& taken);
  void StartNumbering();
  [[nodiscard]] std::string StateRecord() const;
  [[nodiscard]] FileError WriteReceipt();
  [[nodiscard]] FileError WritePosition();
  [[nodiscard]] FileError EnsureOpen();
  void Begin();
  void WritePiece();
  void Note(const std::string& records);
  // Add a name to the receipt's list and append its record. Return false if the list is full.
  bool ListVanished(const NativePath& path, std::string& record);
  bool ListPassedOver(const NativePath& path, std::string_view why, std::string& record);

  // Records of the position file, beside those of KnownFiles.
  static constexpr char kStateRecord = 's';
  static constexpr char kPassedOverRecord = 'p';
  static constexpr char kVanishedRecord = 'v';
  static constexpr char kUnlistedRecord = 'c';  // counts that the lists of names do not have

  static constexpr char kPart[] = ".part";  // the open segment
  static constexpr char kSegment[] = ".jsonl";
  static constexpr char kReceipt[] = ".json";

  const NativePath folder_;
  const FileLock lock_;
  PositionFile position_;
  KnownFiles files_;
  std::uint64_t number_ = 1;  // of the open segment
  bool isOpen_ = false;       // a segment has been opened: receipt_.opened is valid
  bool mustPublish_ = true;   // a closed segment may be without its final name
  Receipt receipt_;
  std::string named_;  // records of the names that the receipt lists
  std::optional<AppendFile> part_;
  bool isTorn_ = false;    // the part has bytes after end_
  std::uint64_t end_ = 0;  // of the lines of all files that were taken
  std::uint64_t sum_ = 0;  // exclusive or of the digests of these lines

  std::optional<OpenFile> current_;  // whose lines are being added
};

}  // namespace varnel::tool
