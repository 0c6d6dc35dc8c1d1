#pragma once

#include "xml/document.h"

#include <cstdlib>
#include <memory>
#include <rapidxml/rapidxml.hpp>
#include <string>

namespace varnel::bench {

using Peer = rapidxml::xml_document<wchar_t>;

struct Free {
  void operator()(char* bytes) const noexcept { std::free(bytes); }
};
using Bytes = std::unique_ptr<char[], Free>;

// Build the same report with our tree, with rapidxml and copied texts, and as bytes that are written in one
// pass: machine facts, three product attributes and `events` events with two attributes and eight texts, some
// of them not ASCII and some with characters to escape.
void Build(AdvXMLParser::Document& document, int events);
void Build(Peer& document, int events);
Bytes WriteAtOnce(int events);

// Returns the peer's text of a document. `length` is the number of characters of that text.
std::wstring Print(const Peer& document, std::size_t length);

constexpr wchar_t kRootName[] = L"EventDocument";

}  // namespace varnel::bench
