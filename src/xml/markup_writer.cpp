#include "xml/markup_writer.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace AdvXMLParser {
namespace {

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

template <class Unit>
Unit* PutAscii(Unit* to, std::string_view ascii) noexcept {
  return std::copy(ascii.begin(), ascii.end(), to);
}

// Each Put converts UTF-8 to the output's encoding and returns the end of the output.
struct Utf16 {
  using Unit = wchar_t;
  static wchar_t* Put(wchar_t* to, const char* utf8, std::size_t count) noexcept {
    return WriteUtf16(to, {utf8, count});
  }
};
struct Utf8 {
  using Unit = char;
  // The memory of documents and outputs has a block of slack.
  static char* Put(char* to, const char* utf8, std::size_t count) noexcept {
    return CopyBlocks(to, utf8, count);
  }
};

// Writes to memory that is large enough and has a block of slack.
template <class Encoding>
class CompactWriter {
 public:
  using Unit = typename Encoding::Unit;

  explicit CompactWriter(Unit* to) noexcept : at_(to) {}

  Unit* End() const noexcept { return at_; }

  const Node* WriteHead(const Node& node) noexcept {
    switch (node.Type()) {
      case kElementNode:
        return WriteStartTag(static_cast<const Element&>(node));
      case kTextNode:
        Put(node.StoredValue());
        return nullptr;
      case kDocumentNode:
        at_ = PutAscii(at_, kXmlDeclaration);
        return static_cast<const NodeContainer&>(node).FirstChild();
      case kAttributeNode:
        WriteAttribute(static_cast<const Attribute&>(node));
        return nullptr;
      default:
        WriteUnescaped(node);
        return nullptr;
    }
  }

  void WriteTail(const NodeContainer& container) noexcept {
    if (container.Is(kElementNode)) PutEndTag(container.Tag());
  }

 private:
  const Node* WriteStartTag(const Element& element) noexcept {
    const StoredName& name = element.Tag();
    Put({name.tags, name.utf8Length + LengthOf("<>")});
    const Node* const child = element.FirstChild();
    if (element.FirstAttribute() || !child) {
      --at_;  // drop the copied '>': attributes or "/>" come first
      for (const Attribute* attribute = element.FirstAttribute(); attribute;
           attribute = attribute->NextAttribute()) {
        *at_++ = ' ';
        WriteAttribute(*attribute);
      }
      at_ = PutAscii(at_, child ? ">" : "/>");
    }
    if (!child || !child->Is(kTextNode) || child->NextSibling()) return child;
    // Fast path: most elements have a single text.
    Put(child->StoredValue());
    PutEndTag(name);
    return nullptr;
  }

  void WriteAttribute(const Attribute& attribute) noexcept {
    PutName(attribute.Tag());
    at_ = PutAscii(at_, "=\"");
    for (const Node* child = attribute.FirstChild(); child; child = child->NextSibling())
      Put(child->StoredValue());
    *at_++ = '"';
  }

  void WriteUnescaped(const Node& leaf) noexcept {
    const bool isPi = leaf.Is(kPiNode);
    const std::string_view value = leaf.StoredValue();
    at_ = PutAscii(at_, isPi ? "<?" : leaf.Is(kCDataNode) ? "<![CDATA[" : "<!--");
    if (isPi) PutName(static_cast<const Pi&>(leaf).Target());
    if (isPi && !value.empty()) *at_++ = ' ';
    Put(value);
    at_ = PutAscii(at_, isPi ? "?>" : leaf.Is(kCDataNode) ? "]]>" : "-->");
  }

  void Put(std::string_view utf8) noexcept { at_ = Encoding::Put(at_, utf8.data(), utf8.size()); }
  void PutName(const StoredName& name) noexcept { Put({name.tags + LengthOf("<"), name.utf8Length}); }
  void PutEndTag(const StoredName& name) noexcept {
    Put({name.tags + name.utf8Length + LengthOf("<>"), name.utf8Length + LengthOf("</>")});
  }

  Unit* at_;
};

// Upper bound of the node's markup in UTF-8 bytes, and so in UTF-16 units.
std::uint64_t MostBytesOf(const Node& node) noexcept {
  if (node.Is(kElementNode) || node.Is(kAttributeNode) || node.Is(kDocumentNode))
    return static_cast<const NodeContainer&>(node).BytesOfDocument();
  const std::size_t target = node.Is(kPiNode) ? static_cast<const Pi&>(node).Target().utf8Length : 0;
  return LengthOf("<![CDATA[]]>") + target + node.StoredValue().size();
}

// Appends the compact markup of a node.
void AppendCompact(const Node& node, std::wstring& out) {
  const std::size_t start = out.size();
  const std::uint64_t most = start + MostBytesOf(node) + kBlockUnits;
  if (most > out.max_size()) throw std::bad_alloc();
  out.resize(static_cast<std::size_t>(most));
  CompactWriter<Utf16> writer(out.data() + start);
  Walk(node, writer);
  out.resize(static_cast<std::size_t>(writer.End() - out.data()));
}

// Writes the indented form: two spaces a level and CR LF between lines. Written for simplicity, because
// nothing that is saved has this form.
// Not used by this DLL: part of the XML library.
class IndentedWriter {
 public:
  explicit IndentedWriter(WriteContext& context) noexcept : context_(context) {}

  const Node* WriteHead(const Node& node) {
    switch (node.Type()) {
      case kElementNode:
        return WriteStartTag(static_cast<const Element&>(node));
      case kTextNode:
        Append(
            CollapseWhitespace(TextFrom(node.StoredValue(), Form::kAsItIs)));  // entities hold no white space
        return nullptr;
      case kDocumentNode:
        Append(std::wstring(kXmlDeclaration.begin(), kXmlDeclaration.end()));
        BreakLine();
        return static_cast<const NodeContainer&>(node).FirstChild();
      case kAttributeNode:
        WriteAttribute(static_cast<const Attribute&>(node));
        return nullptr;
      default:
        ++context_.depth;
        StartLine();
        AppendCompact(node, *context_.out);
        context_.atLineStart = false;
        BreakLine();
        --context_.depth;
        context_.lastWasClosed = true;
        return nullptr;
    }
  }

  void WriteTail(const NodeContainer& node) {
    if (!node.Is(kElementNode)) return;
    if (context_.lastWasClosed) {
      BreakLine();
      WriteIndent();
    }
    --context_.depth;
    context_.lastWasClosed = true;
    Append(L"</");
    Append(node.Name());
    Append(L">");
  }

 private:
  const Node* WriteStartTag(const Element& element) {
    ++context_.depth;
    StartLine();
    Append(L"<");
    Append(element.Name());
    for (const Attribute* attribute = element.FirstAttribute(); attribute;
         attribute = attribute->NextAttribute()) {
      Append(L" ");
      WriteAttribute(*attribute);
    }
    if (element.FirstChild()) {
      Append(L">");
      return element.FirstChild();
    }
    Append(L"/>");
    --context_.depth;
    context_.lastWasClosed = true;
    return nullptr;
  }

  void WriteAttribute(const Attribute& attribute) {
    Append(attribute.Name());
    Append(L"=\"");
    for (const Node* child = attribute.FirstChild(); child; child = child->NextSibling()) WriteHead(*child);
    Append(L"\"");
  }

  void Append(std::wstring_view markup) {
    context_.atLineStart = false;
    context_.out->append(markup);
  }
  // Ends the line unless it has just been ended.
  void BreakLine() {
    if (context_.atLineStart) return;
    Append(L"\r\n");
    context_.atLineStart = true;
  }
  // The outermost level is not indented.
  void WriteIndent() {
    context_.atLineStart = false;
    for (std::int32_t level = 1; level < context_.depth; ++level) Append(context_.indent);
  }
  void StartLine() {
    BreakLine();
    WriteIndent();
    context_.lastWasClosed = false;
  }

  WriteContext& context_;
};

}  // namespace

char* WriteCompactUtf8(const Node& node, char* to) {
  CompactWriter<Utf8> writer(to);
  Walk(node, writer);
  return writer.End();
}

void Node::Write(WriteContext& context) const {
  if (!context.indented) return AppendCompact(*this, *context.out);
  IndentedWriter writer(context);
  Walk(*this, writer);
}

}  // namespace AdvXMLParser
