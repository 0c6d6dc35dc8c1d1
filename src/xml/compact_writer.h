#pragma once

#include "xml/tree.h"

namespace AdvXMLParser {

// The markup of a node and all below it on one line, texts as stored.

void AppendCompact(const Node& node, std::wstring& out);

// The same as UTF-8; half a surrogate pair as three bytes. Returns the end. Up to Arena::kSlack bytes behind
// the end are written over.
char* WriteCompactUtf8(const Node& node, char* to);

}  // namespace AdvXMLParser
