#include "xml/tree.h"

#include <new>

namespace AdvXMLParser {
namespace {

// Longer than the text: whole blocks are read.
constexpr wchar_t kNoTags[Arena::kSlack] = L"<></>";
constexpr char kNoTagsUtf8[Arena::kSlack * 2] = "<></>";
constexpr StoredName kNoName{.tags = kNoTags, .tagsUtf8 = kNoTagsUtf8, .length = 0, .utf8Length = 0};

// Of a leaf with its text behind it.
template <class Leaf>
std::size_t SizeOf(std::wstring_view value) {
  if (value.size() > kLongestText) throw std::bad_alloc();
  return sizeof(Leaf) + value.size() * sizeof(wchar_t);
}

// What a plain text of that size does not use of it.
std::size_t SavedBy(std::wstring_view plain) noexcept {
  return plain.size() * (sizeof(wchar_t) - 1);
}

}  // namespace

constinit Element NullElement(&kNoName);
constinit Attribute NullAttribute(&kNoName, &NullElement);
constinit CData NullCData(&NullElement);
constinit Comment NullComment(&NullElement);
constinit Pi NullPi(&NullElement, &kNoName);

bool IsNull(const Node* node) noexcept {
  return node == &NullElement || node == &NullAttribute || node == &NullCData || node == &NullComment ||
         node == &NullPi;
}

void Text::SetValue(std::wstring_view value, DocumentStore::Length& length) noexcept {
  length_ = static_cast<std::uint32_t>(value.size());
  if (Narrow(reinterpret_cast<char*>(this + 1), value.data(), value.size())) {
    flags_ = kIsPlain;
    length.Add(value.size());
    return;
  }
  CopyUnits(reinterpret_cast<wchar_t*>(this + 1), value.data(), value.size());
  const TextForm form = FormOf(value);
  if (form.hasEntities) flags_ |= kHasEntities;
  if (IsHighSurrogate(value.back())) flags_ |= kEndsInHighSurrogate;
  length.Add(form);
}

// An element that had no content until now is written with an end tag from now on.
void NodeContainer::Append(Node* child) noexcept {
  if (lastChild_) {
    lastChild_->next_ = child;
    lastChild_->isLast_ = false;
  } else {
    firstChild_ = child;
    if (Is(kElementNode)) Store()->length.Add(LengthOf("></>") - LengthOf("/>"), Tag(), 1);
  }
  lastChild_ = child;
}

Element* NodeContainer::AddElement(std::wstring_view name) {
  DocumentStore* const store = Store();
  if (!store || Is(kAttributeNode)) return &NullElement;
  const StoredName* const stored = store->names.Intern(name);
  auto* const element = new (store->arena.Allocate(sizeof(Element))) Element(stored, this);
  store->length.Add(LengthOf("</>"), *stored, 1);
  Append(element);
  return element;
}

// One piece of memory for both nodes.
Element* NodeContainer::AddElement(std::wstring_view name, std::wstring_view value) {
  DocumentStore* const store = Store();
  if (!store || Is(kAttributeNode)) return &NullElement;
  const StoredName* const stored = store->names.Intern(name);
  const std::size_t size = sizeof(Element) + SizeOf<Text>(value);
  void* const memory = store->arena.Allocate(size);
  auto* const element = new (memory) Element(stored, this);
  auto* const text = new (element + 1) Text(element);
  element->firstChild_ = element->lastChild_ = text;
  store->length.Add(LengthOf("<></>"), *stored, 2);
  text->SetValue(value, store->length);
  if (text->IsPlain()) store->arena.Shrink(memory, size, size - SavedBy(value));
  Append(element);
  return element;
}

void NodeContainer::AddText(std::wstring_view value) {
  DocumentStore* const store = Store();
  if (!store) return;
  const std::size_t size = SizeOf<Text>(value);
  auto* const text = new (store->arena.Allocate(size)) Text(this);
  text->SetValue(value, store->length);
  if (text->IsPlain()) store->arena.Shrink(text, size, size - SavedBy(value));
  if (lastChild_ && (lastChild_->flags_ & kEndsInHighSurrogate) != 0) {
    // Two halves of a pair count three bytes each; when they meet they are one character of four.
    if (value.empty())
      text->flags_ |= kEndsInHighSurrogate;
    else if (IsLowSurrogate(value.front()))
      store->length.bytes -= 2;
  }
  Append(text);
}

template <class Leaf, class... Arguments>
void NodeContainer::AddUnescaped(std::wstring_view value, std::size_t markup, Arguments... arguments) {
  auto* const leaf = new (Store()->arena.Allocate(SizeOf<Leaf>(value))) Leaf(this, arguments...);
  leaf->length_ = static_cast<std::uint32_t>(value.size());
  CopyUnits(reinterpret_cast<wchar_t*>(leaf + 1), value.data(), value.size());
  DocumentStore::Length& length = Store()->length;
  length.units += markup + value.size();
  length.bytes += markup + Utf8Length(value);
  length.hasZero |= value.find(L'\0') != value.npos;
  Append(leaf);
}

void NodeContainer::AddCData(std::wstring_view value) {
  if (Store() && !Is(kAttributeNode)) AddUnescaped<CData>(value, LengthOf("<![CDATA[]]>"));
}

void NodeContainer::AddComment(std::wstring_view value) {
  if (Store() && !Is(kAttributeNode)) AddUnescaped<Comment>(value, LengthOf("<!---->"));
}

void NodeContainer::AddPi(std::wstring_view target, std::wstring_view data) {
  DocumentStore* const store = Store();
  if (!store || Is(kAttributeNode)) return;
  const StoredName* const name = store->names.Intern(target);
  AddUnescaped<Pi>(data, LengthOf("<?") + LengthOf("?>") + (data.empty() ? 0 : 1), name);
  store->length.Add(0, *name, 1);
}

Node* NodeContainer::FindChildElement(std::wstring_view name, std::size_t index, int type) const noexcept {
  for (Node* child = firstChild_; child; child = child->NextSibling()) {
    if (child->Is(type) && child->Name() == name && index-- == 0) return child;
  }
  return &NullElement;
}

std::wstring NodeContainer::GetChildText(std::size_t) const {
  for (const Node* child = firstChild_; child; child = child->NextSibling()) {
    if (child->Is(kTextNode)) return child->GetText();
  }
  return {};
}

Element* Element::AddSiblingElement(std::wstring_view name) {
  return parent_->AddElement(name);
}

Attribute* Element::MakeAttribute(std::wstring_view name) {
  const StoredName* const stored = Store()->names.Intern(name);
  return new (Store()->arena.Allocate(sizeof(Attribute))) Attribute(stored, this);
}

void Element::Append(Attribute* attribute) noexcept {
  Store()->length.Add(LengthOf(" =\"\""), attribute->Tag(), 1);
  if (!firstAttribute_) {
    firstAttribute_ = attribute;
    return;
  }
  Attribute* last = firstAttribute_;
  while (!last->isLast_) last = last->NextAttribute();
  last->next_ = attribute;
  last->isLast_ = false;
}

Attribute* Element::GetOrAddAttribute(std::wstring_view name) {
  if (!Store()) return &NullAttribute;
  Attribute* attribute = FindAttribute(name);
  if (attribute != &NullAttribute) return attribute;
  attribute = MakeAttribute(name);
  Append(attribute);
  return attribute;
}

void Element::AddToAttribute(std::wstring_view name, std::wstring_view value) {
  if (!Store()) return;
  Attribute* attribute = FindAttribute(name);
  if (attribute != &NullAttribute) return attribute->AddText(value);
  attribute = MakeAttribute(name);
  attribute->AddText(value);
  Append(attribute);
}

Attribute* Element::FindAttribute(std::wstring_view name) const noexcept {
  for (Attribute* attribute = firstAttribute_; attribute; attribute = attribute->NextAttribute()) {
    const StoredName& tag = attribute->Tag();
    if (tag.length == name.size() && AreEqual(tag.tags + 1, name.data(), name.size())) return attribute;
  }
  return &NullAttribute;
}

Addition::Addition(NodeContainer& container) noexcept
    : container_(container.Store() ? &container : nullptr), lastChild_(container.lastChild_) {
  if (container_) length_ = container_->Store()->length;
}

Addition::~Addition() {
  if (!container_) return;
  container_->Store()->length = length_;
  container_->lastChild_ = lastChild_;
  if (lastChild_) {
    lastChild_->next_ = container_;
    lastChild_->isLast_ = true;
  } else {
    container_->firstChild_ = nullptr;
  }
}

}  // namespace AdvXMLParser
