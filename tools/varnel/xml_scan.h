#pragma once

#include <string>
#include <string_view>

namespace varnel::tool {

// Where something stands in a file; a character outside of the basic plane counts as two.
struct Place {
  unsigned line = 1;
  unsigned column = 1;
};
struct Fault {
  Place place;
  std::string text;
};

enum class FileState { kWhole, kUnfinished, kBroken, kUnreadable };

struct Scan {
  FileState state = FileState::kWhole;
  Fault fault;  // when it is not whole
};

// A look at the bytes of a document before the system's reader gets them, because nobody vouches for a file
// in an event folder: whether they are characters that XML allows, without a document type, and within
// limits; and whether the end is there. Whole does not mean well-formed: that is for the reader to say.
[[nodiscard]] Scan ScanXml(std::string_view utf8);

}  // namespace varnel::tool
