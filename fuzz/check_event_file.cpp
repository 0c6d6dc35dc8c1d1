// Compares the reader of event files with libxml2: verdict, tree and, for a broken file, the line of the
// fault. A beginning of a whole file must be unfinished, because a file that is being written must never be
// taken for a broken one.

#include "check.h"
#include "eventfile/xml_reader.h"

#include <libxml/parser.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace varnel::fuzz {
namespace {

using tool::FileState;
using tool::XmlTree;

// Lists a tree: depth, name, attributes and text of each element in one line.
struct Listing {
  std::string lines;

  void Element(int depth, std::string_view name) {
    lines += "\n" + std::to_string(depth) + " " + std::string(name);
  }
  void Attribute(std::string_view name, std::string_view value) {
    lines += " " + std::string(name) + "=\x01" + std::string(value) + "\x02";
  }
  void Text(std::string_view text) { lines += ":" + std::string(text); }
};

void List(const tool::Element& element, int depth, Listing& listing) {
  listing.Element(depth, element.Name());
  for (const auto& [name, value] : element.Attributes()) listing.Attribute(name, value);
  listing.Text(element.Text());
  for (const tool::Element child : element.Children()) List(child, depth + 1, listing);
}

std::string_view View(const xmlChar* text) {
  return text ? reinterpret_cast<const char*>(text) : std::string_view();
}
std::string NameOf(const xmlNs* space, const xmlChar* name) {
  return (space && space->prefix ? std::string(View(space->prefix)) + ":" : "") + std::string(View(name));
}

// Returns an element's own text. Blank text after a child does not count.
std::string TextOf(const xmlNode* element) {
  std::string text;
  bool isLate = false;
  for (const xmlNode* node = element->children; node; node = node->next) {
    isLate = isLate || node->type == XML_ELEMENT_NODE;
    const bool isText = node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
    if (isText && !(isLate && tool::IsBlank(View(node->content)))) text += View(node->content);
  }
  return text;
}

void List(const xmlNode* element, int depth, Listing& listing) {
  listing.Element(depth, NameOf(element->ns, element->name));
  for (const xmlAttr* attribute = element->properties; attribute; attribute = attribute->next)
    listing.Attribute(NameOf(attribute->ns, attribute->name),
                      attribute->children ? View(attribute->children->content) : std::string_view());
  listing.Text(TextOf(element));
  for (const xmlNode* node = element->children; node; node = node->next)
    if (node->type == XML_ELEMENT_NODE) List(node, depth + 1, listing);
}

int DepthOf(const xmlNode* node) {
  int deepest = 0;
  for (; node; node = node->next)
    if (node->type == XML_ELEMENT_NODE) deepest = std::max(deepest, 1 + DepthOf(node->children));
  return deepest;
}

// The result of libxml2.
struct Reference {
  bool isWhole = false;
  bool isForeign = false;  // whole, but not an event file for our reader
  std::size_t line = 0;    // line of the first error
  std::string said;        // libxml2's message about it
  std::string listing;
};

void TakeError(void* taker, xmlErrorPtr error) {
  auto& reference = *static_cast<Reference*>(taker);
  // Our reader does not check the names of namespaces.
  const bool isUri = error->code == XML_WAR_NS_URI || error->code == XML_NS_ERR_ATTRIBUTE_REDEFINED;
  if (error->level < XML_ERR_ERROR || isUri || reference.line != 0) return;
  reference.line = static_cast<std::size_t>(error->line);
  reference.said = error->message ? error->message : "";
}

Reference Ask(const std::string& text) {
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_HUGE;
  Reference reference;
  xmlSetStructuredErrorFunc(&reference, &TakeError);
  const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
      xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8", kOptions), &xmlFreeDoc);
  reference.isWhole = document && reference.line == 0;
  if (!reference.isWhole) return reference;
  reference.isForeign = document->intSubset || DepthOf(document->children) > 256;
  Listing listing;
  List(xmlDocGetRootElement(document.get()), 0, listing);
  reference.listing = listing.lines;
  return reference;
}

std::size_t LineOf(const std::string& text, std::size_t at) {
  return 1 + static_cast<std::size_t>(
                 std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
}

struct Answer {
  tool::XmlVerdict verdict;
  std::string listing;
};

// Reads the text at the end of an allocation, so that the sanitizer notices reading past its end.
Answer Read(const std::string& text) {
  const std::vector<char> exact(text.begin(), text.end());
  XmlTree tree;
  Answer answer{tool::ReadXml({exact.data(), exact.size()}, tree), {}};
  const bool isWhole = answer.verdict.state == FileState::kWhole;
  Require(isWhole == answer.verdict.fault.text.empty(), "what is not whole has a reason");
  Require(answer.verdict.fault.at <= text.size(), "a fault is in the text");
  Require(tree.PositionOf(answer.verdict.fault.at).line == LineOf(text, answer.verdict.fault.at),
          "its line is counted");
  if (isWhole) {
    Listing listing;
    List(tree.Root(), 0, listing);
    answer.listing = listing.lines;
  }
  return answer;
}

// Returns the offset of the end of the tag that begins at `at`.
std::size_t EndOfTag(const std::string& text, std::size_t at) {
  for (++at; at < text.size() && text[at] != '<' && text[at] != '>'; ++at)
    if (text[at] == '"' || text[at] == '\'') at = std::min(text.find(text[at], at + 1), text.size() - 1);
  return std::min(at, text.size());
}
// True if both report the same line. libxml2 reports a wrong tag at its end, our reader at the wrong name;
// and of several faults in one tag they may report different ones.
bool AreSameLines(const std::string& text, const Answer& ours, const Reference& theirs) {
  const std::size_t at = ours.verdict.fault.at;
  const std::size_t before = at > 0 ? text.rfind('<', at - 1) : text.npos;
  const bool isInTag = before != text.npos && EndOfTag(text, before) >= at;
  return theirs.line >= LineOf(text, isInTag ? before : at) &&
         theirs.line <= LineOf(text, EndOfTag(text, at));
}

// True for differences that are allowed: document types and other encodings, which event files do not have; a
// zero, which ends a text for libxml2; and, in the XML declaration, a version "1." without a digit and a
// missing blank before "standalone", which libxml2 accepts.
bool IsException(const std::string& text, const Answer& ours, const Reference& theirs) {
  const std::string_view fault = ours.verdict.fault.text;
  const auto hasOneOf = [&text](std::initializer_list<std::string_view> parts) {
    return std::any_of(parts.begin(), parts.end(),
                       [&text](std::string_view part) { return text.find(part) != text.npos; });
  };
  return theirs.isForeign || fault.starts_with("a document type") ||
         fault.starts_with("an encoding other than") || hasOneOf({{"\0", 1}}) ||
         (fault.starts_with("an XML declaration") && hasOneOf({"'1.'", "\"1.\""})) ||
         (fault.starts_with("text that is not allowed in an XML declaration") &&
          hasOneOf({"'standalone", "\"standalone"}));
}

}  // namespace

void CheckEventFile(Input input) {
  std::string text = input.Rest();
  if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);  // positions are counted after it
  const Answer ours = Read(text);
  const Reference theirs = Ask(text);
  const bool isWhole = ours.verdict.state == FileState::kWhole;
  if (!IsException(text, ours, theirs)) {
    Require(isWhole == theirs.isWhole, "both say the same of a document");
    if (ours.verdict.state == FileState::kBroken)
      Require(AreSameLines(text, ours, theirs), "both name the same line");
    Require(ours.listing == theirs.listing, "both read the same");
  }
  if (!isWhole) return;
  for (std::size_t cut = 0; cut < text.size(); cut += 1 + text.size() / 100) {
    const FileState state = Read(text.substr(0, cut)).verdict.state;
    Require(
        state == FileState::kUnfinished || (state == FileState::kWhole && Ask(text.substr(0, cut)).isWhole),
        "its beginning is unfinished, unless nothing but comments and blanks is missing");
  }
}

}  // namespace varnel::fuzz
