#pragma once

#include "xml/tree.h"

namespace AdvXMLParser {

// Visits a node and all below it in the order of its markup, without recursion and without a list of its own:
// callers decide how deep a document is. The visitor's WriteHead returns the first of the node's children
// that are to be visited, or null; WriteTail follows behind the last of them.
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
