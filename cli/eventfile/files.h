#pragma once

#include "console/streams.h"
#include "console/text.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

// Files and folders of the system: files_windows.cpp and files_posix.cpp.
namespace varnel::tool {

// Why the system refuses a file.
enum class Problem {
  kNone,
  kMissing,
  kInUse,    // another program has opened it exclusively, or has a lease on it
  kNotFile,  // a folder, a pipe or a device
  kOther,
};
struct FileError {
  Problem problem = Problem::kNone;
  SystemError number = 0;
};

// Facts of the file or folder that a path leads to. Links are followed.
struct PathFacts {
  FileError error;  // the other members are valid if there is none
  bool isFolder = false;
  std::uint64_t size = 0;  // in bytes
};
[[nodiscard]] PathFacts FactsOf(const NativePath& path);

// Returns the full path, without resolving links; the path itself if the system cannot tell.
[[nodiscard]] NativePath FullPath(const NativePath& path);
// Returns the folder's path with a separator at its end.
[[nodiscard]] NativePath WithSeparator(NativePath folder);

// Returns the length of the path's part up to its last separator, which is included.
[[nodiscard]] std::size_t FolderLength(NativePathView path);
// True if the name of a file matches a pattern, in which "*" is any run of characters and "?" one. The case
// of letters counts as it does in the system's file names.
[[nodiscard]] bool MatchesName(NativePathView name, NativePathView pattern);

// A file of a folder listing.
struct FolderFile {
  NativePath name;
  std::uint64_t size = 0;
  std::uint64_t written = 0;  // time of the last change, as FILETIME ticks

  bool operator<(const FolderFile& other) const { return name < other.name; }
};
// The files of a folder, without folders, links, pipes and devices, in no order.
struct FolderListing {
  std::vector<FolderFile> files;
  FileError error;  // why the listing is not complete
};
// Lists a folder, whose path ends in a separator, and opens no file.
[[nodiscard]] FolderListing ListFolder(const NativePath& folder);

// What a folder has under a name. Links are not followed.
struct FoundFile {
  Problem problem = Problem::kNone;  // kNotFile: a folder, a link, a pipe or a device
  FolderFile file;
};
// `folder` ends in a separator.
[[nodiscard]] FoundFile FindFile(const NativePath& folder, const NativePath& name);

// A file that is open for reading. Other programs may read, write, rename and delete it meanwhile. A pipe or
// a device at the path is refused; opening one neither waits nor changes it.
class InputFile {
 public:
  enum class Links { kFollow, kRefuse };
  InputFile(const NativePath& path, Links links);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // Reads the next bytes until `most` are read or the file ends, and returns their number. Returns 0 after an
  // error.
  [[nodiscard]] std::size_t Read(char* bytes, std::size_t most);
  // Returns the size of the file in bytes; 0 after an error.
  [[nodiscard]] std::uint64_t Size();
  // Returns the first error, also of opening.
  [[nodiscard]] const FileError& Error() const { return error_; }

 private:
  struct Handle;
  std::unique_ptr<Handle> handle_;
  FileError error_;
};

// A temporary file beside `path` that Finish renames to `path`. It replaces a symbolic or hard link there and
// never writes through one. The old file stays untouched until then. The destructor deletes a file that has
// not been finished. If it cannot be created, Write of any bytes, and Finish, return false. With kKeep,
// Finish also returns false if there is an old file.
class NewFile {
 public:
  enum class Existing { kReplace, kKeep };
  explicit NewFile(NativePath path, Existing existing = Existing::kReplace);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  // Return false on failure.
  [[nodiscard]] bool Write(std::string_view bytes);
  [[nodiscard]] bool Finish();

 private:
  struct Handle;
  const NativePath path_;
  const Existing existing_;
  std::unique_ptr<Handle> handle_;
};

}  // namespace varnel::tool
