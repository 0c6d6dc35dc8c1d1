#pragma once

#include "xml_tree.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace varnel::tool {

enum class FileState { kWhole, kUnfinished, kBroken, kUnreadable };

// A fault in a file.
struct Fault {
  std::size_t at = 0;  // offset in the file
  std::string text;
};

struct XmlVerdict {
  FileState state = FileState::kWhole;
  Fault fault;  // set unless the file is whole
};

// Reads a document: XML 1.0 with namespaces in UTF-8, without a document type, at most 256 elements deep,
// with at most 2,000,000 elements and attributes. Returns kUnfinished if more bytes could make it whole;
// otherwise the first fault. `tree` holds the document if it is whole. Takes time in proportion to the bytes
// for any input.
[[nodiscard]] XmlVerdict ReadXml(std::string_view utf8, XmlTree& tree);

}  // namespace varnel::tool
