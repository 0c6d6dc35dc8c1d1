#include "xml/document.h"

#include "xml/null_nodes.h"
#include "xml/whitespace.h"
#include "xml/write_context.h"

namespace AdvXMLParser {
namespace {

// Looks at the elements that carry the "Encrypted" mark. Nothing acts on the mark today; the walk is the
// place where protection of marked content would begin before the text is made, and end after it.
void VisitEncryptedElements(const Element& root, [[maybe_unused]] bool writing) {
  std::vector<const Element*> pending{&root};
  while (!pending.empty()) {
    const Element* const element = pending.back();
    pending.pop_back();
    const Attribute* const mark = element->FindAttribute(L"Encrypted");
    [[maybe_unused]] const bool encrypted = !IsNull(mark) && mark->GetText() == L"1";
    for (auto child = element->Children().rbegin(); child != element->Children().rend(); ++child) {
      if ((*child)->Is(kElementNode)) pending.push_back(static_cast<const Element*>(child->get()));
    }
  }
}

}  // namespace

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
  if (!context.Compact()) context.BreakLine();
  NodeContainer::Write(context);
}

std::wstring Document::ToString(bool indented) const {
  VisitEncryptedElements(*root_, true);
  // Measuring first costs a walk of the tree, growing the text would cost copies of it.
  WriteContext measure(indented, nullptr);
  Write(measure);
  std::wstring text;
  text.reserve(measure.length);
  WriteContext context(indented, &text);
  Write(context);
  VisitEncryptedElements(*root_, false);
  return text;
}

}  // namespace AdvXMLParser
