#pragma once

#include "console/text.h"
#include "eventfile/xml_reader.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

constexpr std::uint64_t kLargestFile = 256 * 1024 * 1024;  // in bytes

// A file to read.
struct ListedFile {
  NativePath path;
  bool named = false;  // on the command line, not found in a folder
};

// Returns the file, or the files of the folder, oldest first and without links and folders. If there is
// nothing at the path and its last part has "*" or "?", returns the files of the folder that match. Throws
// Failure if the path cannot be read or nothing matches.
[[nodiscard]] std::vector<ListedFile> ListFiles(const NativePath& path);

// Reads event files one after the other, while other programs may write and delete them.
class EventFileReader {
 public:
  // The state of a file that was read. A file that another program has opened exclusively is unfinished and
  // in use. A file that cannot be read, or has more than 256 MB, is unreadable; the fault says why. A file
  // that was found in a folder and has been deleted since is gone.
  struct Result : XmlVerdict {
    bool isGone = false;
    bool isInUse = false;
  };
  [[nodiscard]] Result Read(const ListedFile& file);
  // Returns the tree of the file that was read last. Valid until the next Read.
  [[nodiscard]] const XmlTree& Tree() const { return tree_; }
  // Returns its bytes; none if it is unreadable. Valid until the next Read.
  [[nodiscard]] std::string_view Bytes() const { return std::string_view(bytes_).substr(0, size_); }

 private:
  std::string bytes_;
  std::size_t size_ = 0;
  XmlTree tree_;
};

}  // namespace varnel::tool
