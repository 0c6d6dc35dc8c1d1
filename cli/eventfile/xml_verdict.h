#pragma once

#include <cstddef>
#include <string>

namespace varnel::tool {

// The states of an event file; kUnreadable is one that cannot be opened or read.
enum class FileState { kWhole, kUnfinished, kBroken, kUnreadable };

// A fault in a file.
struct Fault {
  std::size_t at = 0;  // offset in the file
  std::string text;
};

// The result of reading a file as XML.
struct XmlVerdict {
  FileState state = FileState::kWhole;
  Fault fault;  // set unless the file is whole
};

}  // namespace varnel::tool
