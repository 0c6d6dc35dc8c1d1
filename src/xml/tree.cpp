#include "xml/tree.h"

#include "xml/whitespace.h"

#include <new>
#include <stdexcept>

namespace AdvXMLParser {
namespace {

constexpr StoredName kNoName{L"</>", "</>", 0, 0};
constexpr StoredName kTextName{L"</#text>", "</#text>", 5, 5};
constexpr StoredName kCDataName{L"</#cdata-section>", "</#cdata-section>", 14, 14};
constexpr StoredName kCommentName{L"</#comment>", "</#comment>", 8, 8};

// Holds a node for good: it is there before any code of ours runs, and nothing has to be done at the end.
template <class T>
union Permanent {
  template <class... Arguments>
  constexpr explicit Permanent(Arguments... arguments) : node(arguments...) {}
  constexpr ~Permanent() {}

  T node;
};

constexpr DocumentStore* kNoStore = nullptr;

constinit Permanent<Element> g_nullElement{&kNoName};
constinit Permanent<Attribute> g_nullAttribute{&kNoName, &g_nullElement.node, kNoStore};
constinit Permanent<CData> g_nullCData{&kCDataName, &g_nullElement.node};
constinit Permanent<Comment> g_nullComment{&kCommentName, &g_nullElement.node};
constinit Permanent<Pi> g_nullPi{&kNoName, &g_nullElement.node};

}  // namespace

constinit Element& NullElement = g_nullElement.node;
constinit Attribute& NullAttribute = g_nullAttribute.node;
constinit CData& NullCData = g_nullCData.node;
constinit Comment& NullComment = g_nullComment.node;
constinit Pi& NullPi = g_nullPi.node;

bool IsNull(const Node* node) noexcept {
  return node == &NullElement || node == &NullAttribute || node == &NullCData || node == &NullComment ||
         node == &NullPi;
}

// An element that had no content until now is written with an end tag from now on.
void NodeContainer::Append(Node* child) noexcept {
  if (lastChild_) {
    lastChild_->next_ = child;
  } else {
    firstChild_ = child;
    if (Is(kElementNode)) {
      store_->Add(sizeof("></>") - sizeof("/>"));
      store_->Add(Tag());
    }
  }
  lastChild_ = child;
}

Element* NodeContainer::MakeElement(std::wstring_view name) {
  const StoredName* const stored = store_->names.Intern(name);
  return new (store_->arena.Allocate(sizeof(Element))) Element(stored, this, store_);
}

void NodeContainer::Append(Element* element) noexcept {
  store_->Add(sizeof("</>") - 1);
  store_->Add(element->Tag());
  Append(static_cast<Node*>(element));
}

Element* NodeContainer::AddElement(std::wstring_view name) {
  if (!store_) return &NullElement;
  Element* const element = MakeElement(name);
  Append(element);
  return element;
}

Element* NodeContainer::AddElement(std::wstring_view name, std::wstring_view text) {
  if (!store_) return &NullElement;
  Element* const element = MakeElement(name);
  element->AddText(text);
  Append(element);
  return element;
}

template <class Leaf>
Leaf* NodeContainer::MakeLeaf(const StoredName* name, std::wstring_view value, TextForm& form) {
  if (value.size() > kLongestText) throw std::length_error("text");
  auto* const leaf =
      new (store_->arena.Allocate(sizeof(Leaf) + value.size() * sizeof(wchar_t))) Leaf(name, this);
  form = CopyText(reinterpret_cast<wchar_t*>(leaf + 1), value);
  leaf->length_ = static_cast<std::uint32_t>(value.size());
  return leaf;
}

void NodeContainer::AddText(std::wstring_view value) {
  if (!store_) return;
  TextForm form;
  auto* const text = MakeLeaf<Text>(&kTextName, value, form);
  const bool afterHigh = lastChild_ && lastChild_->Is(kTextNode) && lastChild_->endsInHighSurrogate_;
  text->isPlain_ = form.isPlain;
  text->endsInHighSurrogate_ = value.empty() ? afterHigh : IsHighSurrogate(value.back());
  store_->length.units += form.units;
  store_->length.bytes += form.bytes;
  store_->length.hasZero |= form.hasZero;
  // Two halves of a pair count three bytes each; when they meet they are one character of four.
  if (afterHigh && !value.empty() && IsLowSurrogate(value.front())) store_->length.bytes -= 2;
  Append(text);
}

template <class Leaf>
void NodeContainer::AddUnescaped(const StoredName* name, std::wstring_view value, std::size_t markup) {
  TextForm form;
  Leaf* const leaf = MakeLeaf<Leaf>(name, value, form);
  store_->Add(markup);
  store_->length.units += value.size();
  store_->length.bytes += Utf8Length(value);
  store_->length.hasZero |= form.hasZero;
  Append(leaf);
}

void NodeContainer::AddCData(std::wstring_view value) {
  if (store_) AddUnescaped<CData>(&kCDataName, value, sizeof("<![CDATA[]]>") - 1);
}

void NodeContainer::AddComment(std::wstring_view value) {
  if (store_) AddUnescaped<Comment>(&kCommentName, value, sizeof("<!---->") - 1);
}

void NodeContainer::AddPi(std::wstring_view target, std::wstring_view data) {
  if (!store_) return;
  const StoredName* const name = store_->names.Intern(target);
  AddUnescaped<Pi>(name, data,
                   sizeof("<?"
                          "?>") -
                       1 + (data.empty() ? 0 : 1));
  store_->Add(*name);
}

Node* NodeContainer::FindChildElement(std::wstring_view name, std::size_t index, int type) const noexcept {
  for (Node* child = firstChild_; child; child = child->NextSibling()) {
    if (child->Name() == name && child->Is(type) && index-- == 0) return child;
  }
  return &NullElement;
}

std::wstring NodeContainer::GetChildText(std::size_t) const {
  for (const Node* child = firstChild_; child; child = child->NextSibling()) {
    if (child->Is(kTextNode)) return child->GetText();
  }
  return {};
}

std::wstring NodeContainer::JoinChildTexts() const {
  std::wstring text;
  for (const Node* child = firstChild_; child; child = child->NextSibling()) text += child->GetText();
  return text;
}

void NodeContainer::CloneChildrenInto(NodeContainer& target) const {
  for (const Node* child = firstChild_; child; child = child->NextSibling()) child->Clone(&target);
}

Node* Text::Clone(NodeContainer* parent) const {
  parent->AddText(Value());
  return parent->LastChild();
}

Node* CData::Clone(NodeContainer* parent) const {
  parent->AddCData(Value());
  return parent->LastChild();
}

Node* Comment::Clone(NodeContainer* parent) const {
  parent->AddComment(Value());
  return parent->LastChild();
}

Node* Pi::Clone(NodeContainer* parent) const {
  parent->AddPi(Name(), Value());
  return parent->LastChild();
}

std::wstring Attribute::GetText() const {
  return std::wstring(Trim(JoinChildTexts()));
}

Node* Attribute::Clone(NodeContainer* parent) const {
  if (!parent->Is(kElementNode)) return nullptr;
  Attribute* const copy = static_cast<Element*>(parent)->GetOrAddAttribute(Name());
  CloneChildrenInto(*copy);
  return copy;
}

std::wstring Element::GetText() const {
  std::wstring text = JoinChildTexts();
  if (keepWhitespace_) return text;
  std::wstring trimmed(Trim(text));
  std::erase(trimmed, L'\r');
  return trimmed;
}

Node* Element::Clone(NodeContainer* parent) const {
  Addition addition(*parent);
  Element* const copy = parent->AddElement(Name());
  CloneChildrenInto(*copy);
  for (const Attribute* attribute = firstAttribute_; attribute; attribute = attribute->NextAttribute())
    copy->AddToAttribute(attribute->Name(), attribute->GetValue());
  addition.Keep();
  return copy;
}

Element* Element::AddSiblingElement(std::wstring_view name) {
  return Parent() ? Parent()->AddElement(name) : &NullElement;
}

Attribute* Element::MakeAttribute(std::wstring_view name) {
  const StoredName* const stored = store_->names.Intern(name);
  return new (store_->arena.Allocate(sizeof(Attribute))) Attribute(stored, this, store_);
}

void Element::Append(Attribute* attribute) noexcept {
  store_->Add(sizeof(" =\"\"") - 1);
  store_->Add(attribute->Tag());
  if (!firstAttribute_) {
    firstAttribute_ = attribute;
    return;
  }
  Attribute* last = firstAttribute_;
  while (last->NextAttribute()) last = last->NextAttribute();
  last->next_ = attribute;
}

Attribute* Element::GetOrAddAttribute(std::wstring_view name) {
  if (!store_) return &NullAttribute;
  Attribute* attribute = FindAttribute(name);
  if (attribute != &NullAttribute) return attribute;
  attribute = MakeAttribute(name);
  Append(attribute);
  return attribute;
}

void Element::AddToAttribute(std::wstring_view name, std::wstring_view value) {
  if (!store_) return;
  Attribute* attribute = FindAttribute(name);
  if (attribute != &NullAttribute) return attribute->AddText(value);
  attribute = MakeAttribute(name);
  attribute->AddText(value);
  Append(attribute);
}

Attribute* Element::FindAttribute(std::wstring_view name) const noexcept {
  for (Attribute* attribute = firstAttribute_; attribute; attribute = attribute->NextAttribute())
    if (attribute->Name() == name) return attribute;
  return &NullAttribute;
}

Addition::Addition(NodeContainer& container) noexcept
    : container_(container.store_ ? &container : nullptr), lastChild_(container.lastChild_) {
  if (container_) length_ = container_->store_->length;
}

Addition::~Addition() {
  if (!container_) return;
  container_->store_->length = length_;
  container_->lastChild_ = lastChild_;
  if (lastChild_)
    lastChild_->next_ = nullptr;
  else
    container_->firstChild_ = nullptr;
}

}  // namespace AdvXMLParser
