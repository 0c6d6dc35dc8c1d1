#pragma once

#include "eventfile/xml_tree.h"
#include "eventfile/xml_verdict.h"

#include <cstddef>
#include <string_view>

namespace varnel::tool {

constexpr std::size_t kDeepestElement = 256;
constexpr std::size_t kMostNodes = 2'000'000;  // elements and attributes

// Reads a document: XML 1.0 with namespaces in UTF-8, without a document type, within the limits above.
// Returns kUnfinished if more bytes could make it whole; otherwise the first fault. `tree` holds the document
// if it is whole; of a tree that is not whole, only PositionOf may be called. `utf8` may begin with a
// byte-order mark, which offsets do not count, and must outlive the tree. Takes time in proportion to the
// bytes for any input.
[[nodiscard]] XmlVerdict ReadXml(std::string_view utf8, XmlTree& tree);

}  // namespace varnel::tool
