#include "xml/write_context.h"

#include "xml/compact_writer.h"
#include "xml/walk.h"
#include "xml/whitespace.h"

namespace AdvXMLParser {
namespace {

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

void Node::Write(WriteContext& context) const {
  if (!context.indented) return AppendCompact(*this, *context.out);
  IndentedWriter writer(context);
  Walk(*this, writer);
}

}  // namespace AdvXMLParser
