#pragma once

#include "xml/document.h"

#include <rapidxml/rapidxml.hpp>
#include <string>

namespace varnel::bench {

using Peer = rapidxml::xml_document<wchar_t>;

// The same report, by us, by rapidxml with copied names and texts, and as bytes that are written in one pass:
// machine facts, three product attributes and that many events of two attributes and eight texts, some not
// ASCII and some with characters to escape.
void Build(AdvXMLParser::Document& document, int events);
void Build(Peer& document, int events);
// Returns the end. Up to AdvXMLParser::kCopyBlock bytes behind it may be written over.
char* WriteAtOnce(char* to, int events);

// The peer's text of a document whose text is known to have that many characters.
std::wstring Print(const Peer& document, std::size_t length);

constexpr wchar_t kRootName[] = L"EventDocument";

}  // namespace varnel::bench
