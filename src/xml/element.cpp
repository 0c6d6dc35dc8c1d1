#include "xml/element.h"

#include "xml/null_nodes.h"
#include "xml/whitespace.h"
#include "xml/write_context.h"

#include <algorithm>
#include <utility>

namespace AdvXMLParser {
namespace {

constexpr std::size_t kUsualDepth = 16;

struct OpenElement {
  const Element* element;
  std::size_t nextChild;
};

}  // namespace

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
  if (!context.Compact()) context.StartLine();
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
  if (!context.Compact()) {
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

}  // namespace AdvXMLParser
