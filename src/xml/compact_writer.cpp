#include "xml/compact_writer.h"

#include "xml/walk.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace AdvXMLParser {
namespace {

// Whole blocks: up to one block too many is read and written. Documents and outputs have room for that.
template <class Unit>
Unit* CopyBlocks(Unit* to, const Unit* from, std::size_t count) noexcept {
  constexpr std::size_t kBlock = Arena::kSlack;  // bytes
  auto* const target = reinterpret_cast<char*>(to);
  const auto* const source = reinterpret_cast<const char*>(from);
  for (std::size_t at = 0; at < count * sizeof(Unit); at += kBlock)
    std::memcpy(target + at, source + at, kBlock);
  return to + count;
}

template <class Unit>
Unit* PutAscii(Unit* to, std::string_view ascii) noexcept {
  return std::copy(ascii.begin(), ascii.end(), to);
}

inline wchar_t* PutEntity(wchar_t* to, const Entity& entity) noexcept {
  return Widen(to, entity.text, entity.length);
}
inline char* PutEntity(char* to, const Entity& entity) noexcept {
  std::memcpy(to, entity.text, sizeof(entity));
  return to + entity.length;
}

// What differs between the encodings. Each Put returns the end of what it wrote.
struct Utf16 {
  using Unit = wchar_t;

  static const wchar_t* Tags(const StoredName& name) noexcept { return name.tags; }
  static std::size_t LengthOfName(const StoredName& name) noexcept { return name.length; }
  static wchar_t* PutPlain(wchar_t* to, std::string_view plain) noexcept {
    return Widen(to, plain.data(), plain.size());
  }
  static wchar_t* PutValue(wchar_t* to, std::wstring_view value) noexcept {
    return CopyBlocks(to, value.data(), value.size());
  }

  wchar_t* PutSpecial(wchar_t* to, const Text& text) noexcept {
    const std::wstring_view value = text.SpecialValue();
    if (!text.HasEntities()) return PutValue(to, value);
    for (std::size_t at = 0; at < value.size(); ++at) {
      const std::size_t entity = FindEntity(value.data(), at, value.size());
      to = CopyBlocks(to, value.data() + at, entity - at);
      if (entity == value.size()) break;
      to = PutEntity(to, EntityFor(value[entity]));
      at = entity;
    }
    return to;
  }
};

class Utf8 {
 public:
  using Unit = char;

  static const char* Tags(const StoredName& name) noexcept { return name.tagsUtf8; }
  static std::size_t LengthOfName(const StoredName& name) noexcept { return name.utf8Length; }
  static char* PutPlain(char* to, std::string_view plain) noexcept {
    return CopyBlocks(to, plain.data(), plain.size());
  }
  static char* PutValue(char* to, std::wstring_view value) noexcept { return WriteUtf8(to, value); }

  char* PutSpecial(char* to, const Text& text) noexcept {
    const std::wstring_view value = text.SpecialValue();
    std::size_t at = 0;
    // The text before may have ended with the first half of a pair, which then has been written as U+FFFD.
    if (halfEnd_ && to == halfEnd_ && IsLowSurrogate(value[0])) to = WritePair(to - 3, half_, value[at++]);
    while (at < value.size()) {
      const std::size_t plainEnd = FindNotPlain(value.data(), at, value.size());
      Narrow(to, value.data() + at, plainEnd - at);
      to += plainEnd - at;
      for (at = plainEnd; at < value.size() && !IsPlain(value[at]);) {
        const Entity& entity = EntityFor(value[at]);
        if (entity.length == 0) {
          to = WriteCharacter(to, value, at);
        } else {
          to = PutEntity(to, entity);
          ++at;
        }
      }
    }
    half_ = value.back();
    halfEnd_ = IsHighSurrogate(half_) ? to : nullptr;
    return to;
  }

 private:
  wchar_t half_ = 0;
  const char* halfEnd_ = nullptr;
};

// Writes to memory that is large enough, and has room for a block more.
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
        PutText(static_cast<const Text&>(node));
        return nullptr;
      case kDocumentNode:
        at_ = PutAscii(at_, kXmlDeclaration);
        return static_cast<const NodeContainer&>(node).FirstChild();
      case kAttributeNode:
        WriteAttribute(static_cast<const Attribute&>(node));
        return nullptr;
      default:
        WriteUnescaped(static_cast<const LeafNode&>(node));
        return nullptr;
    }
  }

  void WriteTail(const NodeContainer& container) noexcept {
    if (container.Is(kElementNode)) PutEndTag(container.Tag());
  }

 private:
  const Node* WriteStartTag(const Element& element) noexcept {
    const StoredName& name = element.Tag();
    at_ = CopyBlocks(at_, Encoding::Tags(name), Encoding::LengthOfName(name) + LengthOf("<>"));
    const Node* const child = element.FirstChild();
    if (element.FirstAttribute() || !child) {
      --at_;  // not yet
      for (const Attribute* attribute = element.FirstAttribute(); attribute;
           attribute = attribute->NextAttribute()) {
        *at_++ = ' ';
        WriteAttribute(*attribute);
      }
      at_ = PutAscii(at_, child ? ">" : "/>");
    }
    if (!child || !child->Is(kTextNode) || child->NextSibling()) return child;
    // Most elements hold one text.
    PutText(*static_cast<const Text*>(child));
    PutEndTag(name);
    return nullptr;
  }

  void WriteAttribute(const Attribute& attribute) noexcept {
    PutName(attribute.Tag());
    at_ = PutAscii(at_, "=\"");
    for (const Node* child = attribute.FirstChild(); child; child = child->NextSibling())
      PutText(*static_cast<const Text*>(child));
    *at_++ = '"';
  }

  void WriteUnescaped(const LeafNode& leaf) noexcept {
    const bool isPi = leaf.Is(kPiNode);
    at_ = PutAscii(at_, isPi ? "<?" : leaf.Is(kCDataNode) ? "<![CDATA[" : "<!--");
    if (isPi) PutName(static_cast<const Pi&>(leaf).Target());
    if (isPi && !leaf.Value().empty()) *at_++ = ' ';
    at_ = Encoding::PutValue(at_, leaf.Value());
    at_ = PutAscii(at_, isPi ? "?>" : leaf.Is(kCDataNode) ? "]]>" : "-->");
  }

  void PutName(const StoredName& name) noexcept {
    at_ = CopyBlocks(at_, Encoding::Tags(name) + 1, Encoding::LengthOfName(name));
  }
  void PutEndTag(const StoredName& name) noexcept {
    const std::size_t length = Encoding::LengthOfName(name);
    at_ = CopyBlocks(at_, Encoding::Tags(name) + length + LengthOf("<>"), length + LengthOf("</>"));
  }
  void PutText(const Text& text) noexcept {
    at_ = text.IsPlain() ? Encoding::PutPlain(at_, text.PlainValue()) : encoding_.PutSpecial(at_, text);
  }

  Unit* at_;
  Encoding encoding_;
};

// Exact for a document.
std::uint64_t MostUnitsOf(const Node& node) noexcept {
  switch (node.Type()) {
    case kTextNode:
      return std::uint64_t{static_cast<const Text&>(node).Length()} * LengthOf("&quot;");
    case kPiNode:
      return LengthOf("<? ?>") + node.Name().size() + static_cast<const Pi&>(node).Value().size();
    case kCDataNode:
    case kCommentNode:
      return LengthOf("<![CDATA[]]>") + static_cast<const LeafNode&>(node).Value().size();
    default:
      return static_cast<const NodeContainer&>(node).UnitsOfDocument();
  }
}

}  // namespace

void AppendCompact(const Node& node, std::wstring& out) {
  const std::size_t start = out.size();
  const std::uint64_t most = start + MostUnitsOf(node) + Arena::kSlack / sizeof(wchar_t);
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
