#pragma once

#include "eventfile/files.h"

#include <cstdint>
#include <memory>
#include <string_view>

// Files that survive the end of the program at any moment: durable_files_windows.cpp and
// durable_files_posix.cpp. No function follows a link in the last part of a path.
namespace varnel::tool {

// A file that is written at its end.
class AppendFile {
 public:
  // Opens the file, or creates it, and cuts it to `size` bytes. Other programs may read it meanwhile.
  AppendFile(const NativePath& path, std::uint64_t size);
  ~AppendFile();
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;

  // Appends bytes. After a failure some of them may be in the file.
  [[nodiscard]] FileError Write(std::string_view bytes);
  // Removes all bytes from `size` on.
  [[nodiscard]] FileError CutTo(std::uint64_t size);
  // Waits until the file is on the disk.
  [[nodiscard]] FileError Flush();

 private:
  struct Handle;
  std::unique_ptr<Handle> handle_;
  FileError error_;  // of opening; every function returns it
};

[[nodiscard]] inline bool IsGood(const FileError& error) {
  return error.problem == Problem::kNone;
}

// Renames a file; one that has the new name is replaced.
[[nodiscard]] FileError RenameFile(const NativePath& from, const NativePath& to);
// Waits until the names in a folder are on the disk. `folder` ends in a separator.
[[nodiscard]] FileError FlushFolder(const NativePath& folder);
// Creates the folder; succeeds if it exists.
[[nodiscard]] FileError EnsureFolder(const NativePath& folder);

// Returns the part of a path up to its last separator, with that.
[[nodiscard]] NativePath FolderPartOf(const NativePath& path);
// Returns a text that is the same for each spelling of a full path.
[[nodiscard]] NativePath KeyOf(const NativePath& path);

// A lock file, which one process at a time can own. The lock ends with the process.
class FileLock {
 public:
  explicit FileLock(const NativePath& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  // Problem::kInUse: another process owns the lock.
  [[nodiscard]] const FileError& Error() const { return error_; }

 private:
  struct Handle;
  std::unique_ptr<Handle> handle_;
  FileError error_;
};

}  // namespace varnel::tool
