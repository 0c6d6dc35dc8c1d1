#include "xml/compact_writer.h"

#include "xml/blocks.h"
#include "xml/walk.h"

#include <algorithm>
#include <cstring>

namespace AdvXMLParser {
namespace {

// Whole blocks: up to one block too many is read and written.
template <class Unit>
Unit* CopyBlocks(Unit* to, const Unit* from, std::size_t count) noexcept {
  constexpr std::size_t kBlock = Arena::kSlack;  // bytes
  auto* const target = reinterpret_cast<char*>(to);
  const auto* const source = reinterpret_cast<const char*>(from);
  for (std::size_t at = 0; at < count * sizeof(Unit); at += kBlock)
    std::memcpy(target + at, source + at, kBlock);
  return to + count;
}

// UTF-16, collected in a buffer that is handed on when it is full: appending each piece to a string would
// cost more than copying everything twice.
class WideOutput {
 public:
  explicit WideOutput(std::wstring& out) noexcept : out_(out) {}

  void Finish() { Flush(); }

  // A single unit; there is room for a few behind whatever else was written.
  void Put(char ascii) noexcept { *at_++ = static_cast<wchar_t>(ascii); }
  void PutName(const StoredName& name) { Copy(name.endTag + 2, name.length); }
  void PutEndTag(const StoredName& name) { Copy(name.endTag, name.length + 3); }
  void PutValue(const LeafNode& leaf) { Copy(leaf.Value().data(), leaf.Value().size()); }

  void PutText(const Text& text) {
    if (text.IsPlain()) return PutValue(text);
    const std::wstring_view value = text.Value();
    std::size_t runStart = 0;
    for (std::size_t at = 0; at < value.size(); ++at) {
      if (value[at] > L'>') continue;  // all five lie at or below it, most text lies above
      const std::string_view entity = EntityFor(value[at]);
      if (entity.empty()) continue;
      Copy(value.data() + runStart, at - runStart);
      for (const char unit : entity) Put(unit);
      runStart = at + 1;
    }
    Copy(value.data() + runStart, value.size() - runStart);
  }

 private:
  static constexpr std::size_t kUnits = 4096;
  static constexpr std::size_t kMargin = 32;  // for single units, and for the rest of a block

  void Copy(const wchar_t* units, std::size_t count) {
    if (static_cast<std::size_t>(at_ - buffer_) + count > kUnits) {
      Flush();
      if (count > kUnits) {
        out_.append(units, count);
        return;
      }
    }
    at_ = CopyBlocks(at_, units, count);
  }
  void Flush() {
    out_.append(buffer_, at_);
    at_ = buffer_;
  }

  std::wstring& out_;
  wchar_t* at_ = buffer_;
  wchar_t buffer_[kUnits + kMargin];
};

// UTF-8 into memory that is large enough.
class Utf8Output {
 public:
  explicit Utf8Output(char* to) noexcept : at_(to) {}

  char* End() const noexcept { return at_; }

  void Put(char ascii) noexcept { *at_++ = ascii; }
  void PutName(const StoredName& name) noexcept {
    at_ = CopyBlocks(at_, name.endTagUtf8 + 2, name.utf8Length);
  }
  void PutEndTag(const StoredName& name) noexcept {
    at_ = CopyBlocks(at_, name.endTagUtf8, name.utf8Length + 3);
  }
  void PutValue(const LeafNode& leaf) noexcept { at_ = WriteUtf8(at_, leaf.Value()); }

  void PutText(const Text& text) noexcept {
    const std::wstring_view value = text.Value();
    if (text.IsPlain()) {
      at_ = NarrowBlocks(at_, value.data(), value.size());
      return;
    }
    std::size_t at = 0;
    // The text before may have ended with the first half of a pair, which then has been written as U+FFFD.
    if (at_ == halfEnd_ && IsLowSurrogate(value[0])) at_ = WritePair(at_ - 3, half_, value[at++]);
    for (; at < value.size(); ++at) {
      if (IsHighSurrogate(value[at]) && at + 1 < value.size() && IsLowSurrogate(value[at + 1])) {
        at_ = WritePair(at_, value[at], value[at + 1]);
        ++at;
        continue;
      }
      const std::string_view entity = EntityFor(value[at]);
      at_ = entity.empty() ? WriteUnit(at_, value[at]) : std::copy(entity.begin(), entity.end(), at_);
    }
    half_ = value.back();
    halfEnd_ = IsHighSurrogate(half_) ? at_ : nullptr;
  }

 private:
  char* at_;
  wchar_t half_ = 0;
  char* halfEnd_ = nullptr;
};

template <class Output>
class Writer {
 public:
  explicit Writer(Output& out) noexcept : out_(out) {}

  const Node* WriteHead(const Node& node) {
    switch (node.Type()) {
      case kElementNode:
        return WriteStartTag(static_cast<const Element&>(node));
      case kTextNode:
        out_.PutText(static_cast<const Text&>(node));
        return nullptr;
      case kDocumentNode:
        PutLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
        return static_cast<const NodeContainer&>(node).FirstChild();
      case kAttributeNode:
        WriteAttribute(static_cast<const Attribute&>(node));
        return nullptr;
      default:
        WriteUnescaped(static_cast<const LeafNode&>(node));
        return nullptr;
    }
  }

  void WriteTail(const Node& node) {
    if (node.Is(kElementNode)) out_.PutEndTag(node.Tag());
  }

 private:
  const Node* WriteStartTag(const Element& element) {
    out_.Put('<');
    out_.PutName(element.Tag());
    for (const Attribute* attribute = element.FirstAttribute(); attribute;
         attribute = attribute->NextAttribute()) {
      out_.Put(' ');
      WriteAttribute(*attribute);
    }
    if (!element.FirstChild()) out_.Put('/');
    out_.Put('>');
    return element.FirstChild();
  }

  void WriteAttribute(const Attribute& attribute) {
    out_.PutName(attribute.Tag());
    out_.Put('=');
    out_.Put('"');
    for (const Node* child = attribute.FirstChild(); child; child = child->NextSibling()) WriteHead(*child);
    out_.Put('"');
  }

  void WriteUnescaped(const LeafNode& leaf) {
    const bool isPi = leaf.Is(kPiNode);
    PutLiteral(isPi ? "<?" : leaf.Is(kCDataNode) ? "<![CDATA[" : "<!--");
    if (isPi) out_.PutName(leaf.Tag());
    if (isPi && !leaf.Value().empty()) out_.Put(' ');
    out_.PutValue(leaf);
    PutLiteral(isPi ? "?>" : leaf.Is(kCDataNode) ? "]]>" : "-->");
  }

  void PutLiteral(const char* literal) {
    while (*literal) out_.Put(*literal++);
  }

  Output& out_;
};

}  // namespace

void AppendCompact(const Node& node, std::wstring& out) {
  WideOutput output(out);
  Writer writer(output);
  Walk(node, writer);
  output.Finish();
}

char* WriteCompactUtf8(const Node& node, char* to) {
  Utf8Output output(to);
  Writer writer(output);
  Walk(node, writer);
  return output.End();
}

}  // namespace AdvXMLParser
