#pragma once

#include "xml/tree.h"

namespace AdvXMLParser {

// Visits a node and everything below it in the order of the markup, without recursion or a list, because
// callers choose the depth of a document. The visitor's WriteHead returns the first child to visit, or null.
// WriteTail is called after the last child.
template <class Visitor>
void Walk(const Node& start, Visitor& visitor) {
  const Node* node = &start;
  for (;;) {
    if (const Node* const child = visitor.WriteHead(*node)) {
      node = child;
      continue;
    }
    for (; node != &start && !node->NextSibling(); node = node->Parent()) visitor.WriteTail(*node->Parent());
    if (node == &start) return;
    node = node->NextSibling();
  }
}

}  // namespace AdvXMLParser
