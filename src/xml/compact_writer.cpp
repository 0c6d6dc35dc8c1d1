#include "xml/compact_writer.h"

#include "xml/walk.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace AdvXMLParser {
namespace {

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
class Writer {
 public:
  using Unit = typename Encoding::Unit;

  explicit Writer(Unit* to) noexcept : at_(to) {}

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

}  // namespace

void AppendCompact(const Node& node, std::wstring& out) {
  const std::size_t start = out.size();
  const std::uint64_t most = start + MostBytesOf(node) + kBlockUnits;
  if (most > out.max_size()) throw std::bad_alloc();
  out.resize(static_cast<std::size_t>(most));
  Writer<Utf16> writer(out.data() + start);
  Walk(node, writer);
  out.resize(static_cast<std::size_t>(writer.End() - out.data()));
}

char* WriteCompactUtf8(const Node& node, char* to) {
  Writer<Utf8> writer(to);
  Walk(node, writer);
  return writer.End();
}

}  // namespace AdvXMLParser
