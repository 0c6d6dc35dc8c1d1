#include "xml/document.h"

#include "xml/whitespace.h"
#include "xml/write_context.h"

namespace AdvXMLParser {

Document::Document() : NodeContainer(L"#document", &NullElement), root_(&NullElement) {}

Document::Document(std::wstring_view rootName) : Document() {
  root_ = AddElement(rootName);
}

std::wstring Document::GetText() const {
  return std::wstring(Trim(CollapseWhitespace(JoinChildTexts())));
}

std::unique_ptr<Node> Document::Clone(NodeContainer*) const {
  std::unique_ptr<Document> copy(new Document);
  CloneChildrenInto(*copy);
  for (const auto& child : copy->Children()) {
    if (!child->Is(kElementNode)) continue;
    copy->root_ = static_cast<Element*>(child.get());
    break;
  }
  return copy;
}

void Document::Write(WriteContext& context) const {
  context.Append(L"<?xml version=\"");
  context.Append(version_);
  context.Append(L"\" encoding=\"");
  context.Append(encoding_);
  context.Append(L"\"?>");
  if (context.indented) context.BreakLine();
  NodeContainer::Write(context);
}

std::wstring Document::ToString(bool indented) const {
  // Measuring first costs a walk of the tree, growing the text would cost copies of it.
  WriteContext measure(indented, nullptr);
  Write(measure);
  std::wstring text;
  text.reserve(measure.length);
  WriteContext context(indented, &text);
  Write(context);
  return text;
}

}  // namespace AdvXMLParser
