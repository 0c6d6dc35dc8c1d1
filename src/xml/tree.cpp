#include "xml/tree.h"

#include "xml/whitespace.h"
#include "xml/write_context.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace AdvXMLParser {
namespace {

// Processing instructions, CDATA sections and comments share one layout: a line of their own in indented
// mode.
void WriteUnescaped(WriteContext& context, std::initializer_list<std::wstring_view> pieces) {
  ++context.depth;
  if (context.indented) context.StartLine();
  for (const auto piece : pieces) context.Append(piece);
  if (context.indented) context.BreakLine();
  --context.depth;
  context.lastWasClosed = true;
}

constexpr std::size_t kUsualDepth = 16;

struct OpenElement {
  const Element* element;
  std::size_t nextChild;
};

}  // namespace

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

std::unique_ptr<Node> Text::Clone(NodeContainer* parent) const {
  return std::make_unique<Text>(parent, value_);
}

void Text::Write(WriteContext& context) const {
  if (context.indented)
    context.AppendEscaped(CollapseWhitespace(value_));
  else
    context.AppendEscaped(value_);
}

std::unique_ptr<Node> CData::Clone(NodeContainer* parent) const {
  return std::make_unique<CData>(parent, value_);
}

void CData::Write(WriteContext& context) const {
  WriteUnescaped(context, {L"<![CDATA[", value_, L"]]>"});
}

std::unique_ptr<Node> Comment::Clone(NodeContainer* parent) const {
  return std::make_unique<Comment>(parent, value_);
}

void Comment::Write(WriteContext& context) const {
  WriteUnescaped(context, {L"<!--", value_, L"-->"});
}

std::unique_ptr<Node> Pi::Clone(NodeContainer* parent) const {
  return std::make_unique<Pi>(Name(), parent, value_);
}

void Pi::Write(WriteContext& context) const {
  if (value_.empty())
    WriteUnescaped(context, {L"<?", Name(), L"?>"});
  else
    WriteUnescaped(context, {L"<?", Name(), L" ", value_, L"?>"});
}

std::wstring Attribute::GetText() const {
  return std::wstring(Trim(JoinChildTexts()));
}

std::unique_ptr<Node> Attribute::Clone(NodeContainer* parent) const {
  auto copy = std::make_unique<Attribute>(Name(), parent);
  CloneChildrenInto(*copy);
  return copy;
}

void Attribute::Write(WriteContext& context) const {
  context.Append(Name());
  context.Append(L"=\"");
  NodeContainer::Write(context);
  context.Append(L"\"");
}

std::wstring Element::GetText() const {
  std::wstring text = JoinChildTexts();
  if (keepWhitespace_) return text;
  std::wstring trimmed(Trim(text));
  std::erase(trimmed, L'\r');
  return trimmed;
}

std::unique_ptr<Node> Element::Clone(NodeContainer* parent) const {
  auto copy = std::make_unique<Element>(Name(), parent);
  CloneChildrenInto(*copy);
  for (const auto& attribute : attributes_)
    copy->GetOrAddAttribute(attribute->Name())->AddText(attribute->GetValue());
  return copy;
}

// Walks nested elements with a list of its own instead of recursion: callers decide how deep a document is.
void Element::Write(WriteContext& context) const {
  if (!WriteStartTag(context)) return;
  std::vector<OpenElement> open;
  open.reserve(kUsualDepth);
  open.push_back({this, 0});
  while (!open.empty()) {
    OpenElement& at = open.back();
    if (at.nextChild == at.element->Children().size()) {
      at.element->WriteEndTag(context);
      open.pop_back();
      continue;
    }
    const Node& child = *at.element->Children()[at.nextChild++];
    if (!child.Is(kElementNode)) {
      child.Write(context);
      continue;
    }
    const auto& element = static_cast<const Element&>(child);
    if (element.WriteStartTag(context)) open.push_back({&element, 0});
  }
}

bool Element::WriteStartTag(WriteContext& context) const {
  ++context.depth;
  if (context.indented) context.StartLine();
  context.Append(L"<");
  context.Append(Name());
  for (const auto& attribute : attributes_) {
    context.Append(L" ");
    attribute->Write(context);
  }
  if (!Children().empty()) {
    context.Append(L">");
    return true;
  }
  context.Append(L"/>");
  --context.depth;
  context.lastWasClosed = true;
  return false;
}

void Element::WriteEndTag(WriteContext& context) const {
  if (context.indented) {
    if (context.lastWasClosed) {
      context.BreakLine();
      context.WriteIndent();
    }
    --context.depth;
    context.lastWasClosed = true;
  }
  context.Append(L"</");
  context.Append(Name());
  context.Append(L">");
}

Element* Element::AddSiblingElement(std::wstring_view name) {
  if (IsNull(this) || !Parent()) return &NullElement;
  return Parent()->AddElement(name);
}

Attribute* Element::GetOrAddAttribute(std::wstring_view name) {
  if (IsNull(this)) return &NullAttribute;
  Attribute* const found = FindAttribute(name);
  if (!IsNull(found)) return found;
  attributes_.push_back(std::make_unique<Attribute>(name, this));
  return attributes_.back().get();
}

void Element::AddToAttribute(std::wstring_view name, std::wstring_view value) {
  if (IsNull(this)) return;
  if (Attribute* const found = FindAttribute(name); !IsNull(found)) return found->AddText(value);
  auto attribute = std::make_unique<Attribute>(name, this);
  attribute->AddText(value);
  attributes_.push_back(std::move(attribute));
}

Attribute* Element::FindAttribute(std::wstring_view name) const noexcept {
  const auto found = std::find_if(attributes_.begin(), attributes_.end(),
                                  [&](const auto& attribute) { return attribute->Name() == name; });
  return found == attributes_.end() ? &NullAttribute : found->get();
}

Element NullElement(L"", &NullElement);
Attribute NullAttribute(L"", &NullElement);
CData NullCData(&NullElement, L"");
Comment NullComment(&NullElement, L"");
Pi NullPi(L"", &NullElement, L"");

bool IsNull(const Node* node) noexcept {
  return node == &NullElement || node == &NullAttribute || node == &NullCData || node == &NullComment ||
         node == &NullPi;
}

}  // namespace AdvXMLParser
