#include "xml/node_container.h"

#include "xml/element.h"
#include "xml/leaf_nodes.h"
#include "xml/null_nodes.h"

#include <utility>

namespace AdvXMLParser {

// Callers may nest elements as deep as memory allows, the stack may not: nodes are freed innermost first, by
// walking down and up again, without recursion and without allocating.
NodeContainer::~NodeContainer() {
  NodeContainer* at = this;
  for (;;) {
    if (at->children_.empty()) {
      if (at == this) return;
      at = at->Parent();
      at->children_.pop_back();
      continue;
    }
    Node* const last = at->children_.back().get();
    if (last->Is(kElementNode) && !static_cast<Element*>(last)->Children().empty())
      at = static_cast<Element*>(last);
    else
      at->children_.pop_back();
  }
}

void NodeContainer::Write(WriteContext& context) const {
  for (const auto& child : children_) child->Write(context);
}

void NodeContainer::Append(std::unique_ptr<Node> child) {
  child->parent_ = this;
  const bool isText = child->Is(kTextNode);
  children_.push_back(std::move(child));
  if (!isText) lastText_ = nullptr;
}

void NodeContainer::AppendAll(std::vector<std::unique_ptr<Node>> children) {
  children_.reserve(children_.size() + children.size());
  for (auto& child : children) Append(std::move(child));
}

Element* NodeContainer::AddElement(std::wstring_view name) {
  if (IsNull(this)) return &NullElement;
  auto element = std::make_unique<Element>(name, this);
  Element* const added = element.get();
  Append(std::move(element));
  return added;
}

void NodeContainer::AddText(std::wstring_view value) {
  if (lastText_)
    lastText_->Extend(value);
  else
    Append(std::make_unique<Text>(this, value));
}

Node* NodeContainer::FindChildElement(std::wstring_view name, std::size_t index, int type) const noexcept {
  for (const auto& child : children_) {
    if (child->Name() == name && child->Is(type) && index-- == 0) return child.get();
  }
  return &NullElement;
}

std::wstring NodeContainer::GetChildText(std::size_t) const {
  for (const auto& child : children_) {
    if (child->Is(kTextNode)) return child->GetText();
  }
  return {};
}

std::wstring NodeContainer::JoinChildTexts() const {
  std::wstring text;
  for (const auto& child : children_) text += child->GetText();
  return text;
}

void NodeContainer::CloneChildrenInto(NodeContainer& target) const {
  for (const auto& child : children_) target.Append(child->Clone(&target));
}

}  // namespace AdvXMLParser
