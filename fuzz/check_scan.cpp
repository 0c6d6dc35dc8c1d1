// The first look at an event file's bytes, against libxml2: what is well-formed is whole, and its beginning
// is unfinished. A file that is being written waits, and is never taken for a broken one.

#include "check.h"
#include "varnel/xml_scan.h"

#include <iconv.h>
#include <libxml/parser.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace varnel::fuzz {
namespace {

using tool::FileState;
using tool::Scan;

constexpr int kDeepest = 256;

// libxml2 takes some bytes that are no UTF-8, and a zero for the end.
bool IsUtf8Text(std::string text) {
  if (text.find('\0') != text.npos) return false;
  const std::unique_ptr<void, decltype(&iconv_close)> converter(iconv_open("UTF-32LE", "UTF-8"),
                                                                &iconv_close);
  std::vector<char> units(text.size() * 4 + 4);
  char* from = text.data();
  char* to = units.data();
  std::size_t left = text.size();
  std::size_t room = units.size();
  return iconv(converter.get(), &from, &left, &to, &room) == 0;
}

int DepthOf(const xmlNode* node) {
  int deepest = 0;
  for (; node; node = node->next)
    if (node->type == XML_ELEMENT_NODE) deepest = std::max(deepest, 1 + DepthOf(node->children));
  return deepest;
}

// And without a document type, and not too deep.
bool IsWellFormed(const std::string& text) {
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
      xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8", kOptions), &xmlFreeDoc);
  return document && !document->intSubset && DepthOf(document->children) <= kDeepest && IsUtf8Text(text);
}

// In memory that ends with the text, so that one byte read too many is noticed.
FileState StateOf(const std::string& text) {
  const std::vector<char> exact(text.begin(), text.end());
  const Scan scan = tool::ScanXml({exact.data(), exact.size()});
  Require((scan.state == FileState::kWhole) == scan.fault.text.empty(), "what is not whole has a reason");
  Require(scan.fault.place.line <= 1U + static_cast<unsigned>(std::count(text.begin(), text.end(), '\n')),
          "a fault is in the text");
  return scan.state;
}

}  // namespace

void CheckScan(Input input) {
  const std::string text = input.Rest();
  const FileState state = StateOf(text);
  if (text.starts_with("\xEF\xBB\xBF") || !IsWellFormed(text)) return;
  Require(state == FileState::kWhole, "a well-formed document is whole");
  for (std::size_t cut = 0; cut < text.size(); cut += 1 + text.size() / 100) {
    const std::string beginning = text.substr(0, cut);
    Require(StateOf(beginning) == (IsWellFormed(beginning) ? FileState::kWhole : FileState::kUnfinished),
            "its beginning is unfinished, unless nothing but comments and blanks is missing");
  }
}

}  // namespace varnel::fuzz
