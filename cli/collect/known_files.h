#pragma once

#include "collect/position_file.h"

#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>

namespace varnel::tool {

// What is known of an event file that is still in its folder.
struct KnownFile {
  enum class Kind : char {
    kSeen = 's',        // not taken yet; not kept in the position file
    kTaken = 't',       // shown, or in a segment
    kPassedOver = 'p',  // named with the reason; it is read again when it has changed
    kUnreadable = 'u',  // named with the reason; it is read again now and then
  };
  Kind kind = Kind::kSeen;
  std::uint64_t size = 0;     // when it was read
  std::uint64_t written = 0;  // time of its last change then, as FILETIME ticks
  std::uint64_t digest = 0;   // of a file that was taken: the digest in event.id
  unsigned look = 0;          // number of the last look at the folder that found it

  [[nodiscard]] bool IsUnchanged(const FolderFile& file) const {
    return size == file.size && written == file.written;
  }
};

// The known files of one folder by their names.
struct KnownFolder {
  NativePath path;  // with a separator at its end
  std::unordered_map<NativePath, KnownFile> files;
};

// The known files of all folders that one position file has, also of folders that are not looked at now.
class KnownFiles {
 public:
  // Returns the number of a folder, which it adds if it is new. `path` is full, with a separator at its end.
  [[nodiscard]] std::size_t NumberOf(const NativePath& path);
  [[nodiscard]] KnownFolder& operator[](std::size_t number) { return folders_[number]; }
  [[nodiscard]] std::size_t Count() const { return folders_.size(); }

  // Append the records of all folders and files, of a folder, and of a file.
  void WriteAll(std::string& records) const;
  void WriteFolder(std::string& records, std::size_t number) const;
  static void WriteFile(std::string& records, std::size_t number, NativePathView name, const KnownFile& file);
  // For a file in the open segment. `end` is the offset after its lines, `sum` a checksum of them.
  static void WriteTaken(std::string& records, std::size_t number, NativePathView name, const KnownFile& file,
                         std::uint64_t end, std::uint64_t sum);

  // The record of a file.
  struct FileRecord {
    std::size_t folder = 0;
    NativePath name;
    KnownFile file;
    std::uint64_t end = 0;
    std::uint64_t sum = 0;
  };
  // Take a record that WriteFolder or WriteFile has written. Return false if it has another form.
  [[nodiscard]] bool TakeFolder(RecordReader& record);
  [[nodiscard]] bool TakeFile(RecordReader& record, FileRecord& file) const;

  static constexpr char kFolderRecord = 'd';
  static constexpr char kFileRecord = 'f';
  static constexpr char kTakenRecord = 't';

 private:
  std::deque<KnownFolder> folders_;  // references stay valid when folders are added
};

}  // namespace varnel::tool
