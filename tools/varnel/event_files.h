#pragma once

#include "xml_reader.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

struct ListedFile {
  std::wstring path;
  bool named = false;  // by the user, not found in a folder
};

// The files that are meant: a file itself, of a folder every file in it, the oldest first; links and folders
// in a folder are passed over. Throws Failure when the path cannot be read.
[[nodiscard]] std::vector<ListedFile> ListFiles(const std::wstring& path);

// Reads event files one after the other. Others may write and delete them meanwhile.
class EventFileReader {
 public:
  // A file that another program keeps to itself is unfinished, and in use. A file that cannot be read, or is
  // larger than 256 MB, is unreadable; the fault says why. Gone: it had been listed, and was no longer there.
  struct Result : XmlVerdict {
    bool isGone = false;
    bool isInUse = false;
  };
  [[nodiscard]] Result Read(const ListedFile& file);
  // Of the file that has been read last.
  [[nodiscard]] const XmlTree& Tree() const { return tree_; }

 private:
  std::string bytes_;
  XmlTree tree_;
};

// Bytes of a file; 0 when there is none.
[[nodiscard]] std::uint64_t SizeOf(const std::wstring& path);

}  // namespace varnel::tool
