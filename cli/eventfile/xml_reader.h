#pragma once

#include "eventfile/xml_tree.h"
#include "eventfile/xml_verdict.h"

#include <string_view>

namespace varnel::tool {

// Reads a document: XML 1.0 with namespaces in UTF-8, without a document type, at most 256 elements deep,
// with at most 2,000,000 elements and attributes. Returns kUnfinished if more bytes could make it whole;
// otherwise the first fault. `tree` holds the document if it is whole. Takes time in proportion to the bytes
// for any input.
[[nodiscard]] XmlVerdict ReadXml(std::string_view utf8, XmlTree& tree);

}  // namespace varnel::tool
