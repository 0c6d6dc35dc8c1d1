#pragma once

#include "collect/durable_files.h"
#include "console/console.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// Returns what to tell the user after a failure to write the file.
[[nodiscard]] Failure CannotWrite(const NativePath& path, const FileError& error);

// Writes a file beside `path`, waits until it is on the disk and renames it to `path`. A file that cannot be
// replaced stays untouched.
[[nodiscard]] FileError ReplaceWhole(const NativePath& path, std::string_view bytes);

// Writes one record of a position file: fields between blanks.
class RecordWriter {
 public:
  // `text` receives the record.
  RecordWriter(std::string& text, char kind) : text_(text) { text_ += kind; }
  ~RecordWriter() { text_ += '\n'; }
  RecordWriter(const RecordWriter&) = delete;
  RecordWriter& operator=(const RecordWriter&) = delete;
  RecordWriter& Numbers(std::initializer_list<std::uint64_t> numbers);
  RecordWriter& Path(NativePathView path);
  RecordWriter& Text(std::string_view text);

 private:
  std::string& text_;
};

// Reads the fields of a record in the order in which they were written. A field that is missing or of
// another form makes IsGood false, and becomes 0 or an empty text.
class RecordReader {
 public:
  explicit RecordReader(std::string_view record) : rest_(record) { kind_ = Next(); }
  // Returns the record's kind; 0 if it has none.
  [[nodiscard]] char Kind() const { return kind_.size() == 1 ? kind_[0] : '\0'; }
  [[nodiscard]] std::uint64_t Number();
  [[nodiscard]] NativePath Path();
  [[nodiscard]] std::string Text();
  [[nodiscard]] bool IsGood() const { return isGood_; }

 private:
  std::string_view Next();
  template <class Unit>
  std::basic_string<Unit> Decoded();

  std::string_view rest_;
  std::string_view kind_;
  bool isGood_ = true;
};

// A file of records that survives the end of the program at any moment. Its first part was written as a
// whole and is guarded by a checksum. Records that were appended since follow; the last of them may be cut.
class PositionFile {
 public:
  explicit PositionFile(NativePath path);

  // Calls the function for each record. It returns false for a record that it does not understand. Returns
  // false if there is no file. Throws Failure if the file cannot be read or has been damaged.
  [[nodiscard]] bool Load(const std::function<bool(RecordReader&)>& take);
  // Replaces all records, and waits until they are on the disk. After a failure the old records are valid.
  [[nodiscard]] FileError Rewrite(std::string_view records);
  // Appends records. After a failure none of them is valid. Needs a Rewrite before.
  [[nodiscard]] FileError Append(std::string_view records);
  // Makes the records of the last Append invalid.
  void TakeBack();

 private:
  const NativePath path_;
  std::optional<AppendFile> file_;
  std::uint64_t size_ = 0;  // of the valid part
  std::uint64_t last_ = 0;  // of the valid part before the last Append
  bool isTorn_ = false;     // the file has more bytes than that
};

}  // namespace varnel::tool
