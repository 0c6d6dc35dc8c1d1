#pragma once

#include "xml/tree.h"

namespace AdvXMLParser {

// Appends the markup of a node and everything below it, on one line and with texts as stored.

void AppendCompact(const Node& node, std::wstring& out);

// Writes the same markup as UTF-8 and returns its end. Half a surrogate pair is written as three bytes.
// Overwrites up to Arena::kSlack bytes after the end.
char* WriteCompactUtf8(const Node& node, char* to);

}  // namespace AdvXMLParser
