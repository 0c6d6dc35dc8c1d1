// The functions of Node that switch on its type.

#include "xml/document.h"
#include "xml/whitespace.h"

namespace AdvXMLParser {

std::wstring_view Node::Name() const noexcept {
  switch (type_) {
    case kTextNode:
      return L"#text";
    case kCDataNode:
      return L"#cdata-section";
    case kCommentNode:
      return L"#comment";
    case kPiNode:
      return static_cast<const Pi*>(this)->Target().View();
    default:
      return static_cast<const NodeContainer*>(this)->Tag().View();
  }
}

NodeContainer* Node::Parent() const noexcept {
  if (Is(kElementNode) || Is(kAttributeNode) || Is(kDocumentNode)) {
    const auto& container = *static_cast<const NodeContainer*>(this);
    return container.GetBody() ? container.GetBody()->parent : container.parent_;
  }
  if (Has(kIsOwnText)) return const_cast<NodeContainer*>(reinterpret_cast<const NodeContainer*>(this) - 1);
  const Node* last = this;
  while (!last->Has(kIsLast)) last = last->NextSibling();
  return static_cast<NodeContainer*>(static_cast<const LinkedNode*>(last)->next_);
}

std::wstring Node::GetValue() const {
  return Is(kElementNode) || Is(kDocumentNode) ? std::wstring() : GetText();
}

std::wstring NodeContainer::JoinChildTexts() const {
  std::wstring text;
  for (const Node* child = FirstChild(); child; child = child->NextSibling()) text += child->GetText();
  return text;
}

std::wstring Node::GetText() const {
  if (Is(kTextNode)) return TextFrom(StoredValue(), Form::kEscaped);
  if (!Is(kElementNode) && !Is(kAttributeNode) && !Is(kDocumentNode))
    return TextFrom(StoredValue(), Form::kAsItIs);
  std::wstring text = static_cast<const NodeContainer*>(this)->JoinChildTexts();
  if (Has(kKeepsWhitespace)) return text;
  if (Is(kDocumentNode)) text = CollapseWhitespace(text);
  std::wstring trimmed(Trim(text));
  if (Is(kElementNode)) std::erase(trimmed, L'\r');
  return trimmed;
}

// Copies up to the child that is the last one now, because `target` may be below this node.
void NodeContainer::CloneChildrenInto(NodeContainer& target) const {
  const Node* const last = LastChild();
  for (const Node* child = FirstChild(); child; child = child == last ? nullptr : child->NextSibling())
    child->Clone(&target);
}

namespace {

Element* CloneElement(const Element& element, NodeContainer& parent) {
  Addition addition(parent);
  Element* const copy = parent.AddElement(element.Name());
  element.CloneChildrenInto(*copy);
  for (const Attribute* attribute = element.FirstAttribute(); attribute;
       attribute = attribute->NextAttribute())
    copy->AddToAttribute(attribute->Name(), attribute->GetValue());
  addition.Keep();
  return copy;
}

Attribute* CloneAttribute(const Attribute& attribute, NodeContainer& parent) {
  if (!parent.Is(kElementNode)) return nullptr;
  Attribute* const copy = static_cast<Element&>(parent).GetOrAddAttribute(attribute.Name());
  attribute.CloneChildrenInto(*copy);
  return copy;
}

}  // namespace

Node* Node::Clone(NodeContainer* parent) const {
  switch (type_) {
    case kDocumentNode:
      return static_cast<const Document*>(this)->Clone();
    case kElementNode:
      return CloneElement(*static_cast<const Element*>(this), *parent);
    case kAttributeNode:
      return CloneAttribute(*static_cast<const Attribute*>(this), *parent);
    case kTextNode:
      parent->AddText(GetValue());
      break;
    case kCDataNode:
      parent->AddCData(GetValue());
      break;
    case kCommentNode:
      parent->AddComment(GetValue());
      break;
    case kPiNode:
      parent->AddPi(Name(), GetValue());
      break;
  }
  return parent->LastChild();
}

}  // namespace AdvXMLParser
