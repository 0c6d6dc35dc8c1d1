// Deep copies of nodes and documents. Not used by this DLL: part of the XML library.

#include "xml/document.h"

namespace AdvXMLParser {
namespace {

Element* CloneElement(const Element& element, NodeContainer& parent) {
  Savepoint savepoint(parent);
  Element* const copy = parent.AddElement(element.Name());
  element.CloneChildrenInto(*copy);
  for (const Attribute* attribute = element.FirstAttribute(); attribute;
       attribute = attribute->NextAttribute())
    copy->AddToAttribute(attribute->Name(), attribute->GetValue());
  savepoint.Commit();
  return copy;
}

Attribute* CloneAttribute(const Attribute& attribute, NodeContainer& parent) {
  if (!parent.Is(kElementNode)) return nullptr;
  Attribute* const copy = static_cast<Element&>(parent).GetOrAddAttribute(attribute.Name());
  attribute.CloneChildrenInto(*copy);
  return copy;
}

}  // namespace

// Copies up to the child that is the last one now, because `target` may be below this node.
void NodeContainer::CloneChildrenInto(NodeContainer& target) const {
  const Node* const last = LastChild();
  // Only a document's copy is owned by the caller, and a child is never a document.
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
  for (const Node* child = FirstChild(); child; child = child == last ? nullptr : child->NextSibling())
    child->Clone(&target);
}

Document* Document::Clone() const {
  std::unique_ptr<Document> copy(new Document);
  CloneChildrenInto(*copy);
  Node* const root = copy->FirstChild();
  if (root && root->Is(kElementNode)) copy->root_ = static_cast<Element*>(root);
  return copy.release();
}

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
