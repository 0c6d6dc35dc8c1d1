#include "xml/node.h"

#include <new>

namespace AdvXMLParser {
namespace {

// An element with more attributes has them in the document's index. Comparing fewer names is cheaper.
constexpr std::uint32_t kManyAttributes = 16;

// Longer than its text, because whole blocks are read.
constexpr char kNoTags[Arena::kSlack * 2] = "<></>";
constexpr StoredName kNoName{.name = L"", .tags = kNoTags, .length = 0, .utf8Length = 0};

// This file passes views by reference: x64 Windows copies a view that is passed by value at each call.

// Memory for a node that is not constructed yet, followed by its text.
struct StoredText {
  char* memory;
  std::size_t bytes;  // of the text
};

// Stores a text that is not plain. Reallocates `memory`, which was allocated for a plain text.
StoredText StoreSpecial(DocumentStore& store, char* memory, std::size_t nodeSize,
                        const std::wstring_view& text, Form form) {
  constexpr std::size_t kShort = 128;
  constexpr std::size_t kMostBytes = LengthOf("&quot;");  // for one unit
  const auto reallocate = [&](std::size_t bytes) {
    memory = static_cast<char*>(store.arena.Reallocate(memory, nodeSize + text.size(), nodeSize + bytes));
  };
  std::size_t bytes;
  Written written;
  if (text.size() <= kShort) {
    char buffer[kShort * kMostBytes + kCopyBlock];
    written = WriteUtf8(buffer, text, form);
    bytes = static_cast<std::size_t>(written.end - buffer);
    reallocate(bytes);
    CopyBlocks(memory + nodeSize, buffer, bytes);
  } else {
    bytes = LengthOf(text, form);
    reallocate(bytes);
    written = WriteUtf8(memory + nodeSize, text, form);
  }
  store.length.needsConversion |= written.needsConversion;
  return {memory, bytes};
}

// Allocates `nodeSize` bytes for a node and stores the text directly after them.
StoredText StoreText(DocumentStore& store, std::size_t nodeSize, const std::wstring_view& text, Form form) {
  if (text.size() > kLongestText) throw std::bad_alloc();
  auto* const memory = static_cast<char*>(store.arena.Allocate(nodeSize + text.size()));
  StoredText stored{memory, text.size()};
  if (NarrowPlain(memory + nodeSize, text.data(), text.size()) < text.size())
    stored = StoreSpecial(store, memory, nodeSize, text, form);
  store.length.bytes += stored.bytes;
  return stored;
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

NodeContainer::Body& NodeContainer::MakeBody(DocumentStore& store) {
  body_ = new (store.arena.Allocate(sizeof(Body))) Body{.parent = parent_, .store = &store};
  Set(kHasBody, true);
  return *body_;
}

template <class Container>
Container* NodeContainer::Make(DocumentStore& store, const StoredName* name) {
  return new (store.arena.Allocate(sizeof(Container))) Container(name, this);
}

template <class Container>
Container* NodeContainer::MakeWithText(DocumentStore& store, const StoredName* name,
                                       const std::wstring_view& text) {
  const StoredText stored = StoreText(store, sizeof(Container) + sizeof(Node), text, Form::kEscaped);
  auto* const container = new (stored.memory) Container(name, this);
  container->Set(kHasOwnText, true);
  (new (container + 1) Node(kTextNode, kIsLast | kIsOwnText))->length_ =
      static_cast<std::uint32_t>(stored.bytes);
  return container;
}

template <class Listed>
void NodeContainer::Link(Listed*& first, Listed*& last, Listed* added) noexcept {
  if (last) {
    last->next_ = added;
    last->Set(kIsLast, false);
  } else {
    first = added;
  }
  last = added;
}

// An element without content is written as an empty tag; its first child adds the end tag.
void NodeContainer::Append(LinkedNode* child, Body& body) noexcept {
  if (!FirstChild() && Is(kElementNode)) body.store->length.Add(LengthOf("></>") - LengthOf("/>"), Tag(), 1);
  if (Has(kHasOwnText)) OwnText()->Set(kIsLast, false);
  Link(body.firstChild, body.lastChild, child);
}

Element* NodeContainer::AddElement(std::wstring_view name) {
  DocumentStore* const store = Store();
  if (!store || Is(kAttributeNode)) return &NullElement;
  Body& body = NeedBody(*store);
  const StoredName* const stored = store->names.Intern(name);
  auto* const element = Make<Element>(*store, stored);
  store->length.Add(LengthOf("</>"), *stored, 1);
  Append(element, body);
  return element;
}

Element* NodeContainer::AddElement(std::wstring_view name, std::wstring_view text) {
  DocumentStore* const store = Store();
  if (!store || Is(kAttributeNode)) return &NullElement;
  Body& body = NeedBody(*store);
  const StoredName* const stored = store->names.Intern(name);
  auto* const element = MakeWithText<Element>(*store, stored, text);
  store->length.Add(LengthOf("<></>"), *stored, 2);
  Append(element, body);
  return element;
}

void NodeContainer::AddText(std::wstring_view value) {
  DocumentStore* const store = Store();
  if (!store) return;
  Body& body = NeedBody(*store);
  const StoredText stored = StoreText(*store, sizeof(LinkedNode), value, Form::kEscaped);
  auto* const text = new (stored.memory) LinkedNode(kTextNode, this);
  text->length_ = static_cast<std::uint32_t>(stored.bytes);
  Append(text, body);
}

template <class Leaf, class... Arguments>
void NodeContainer::AddUnescaped(std::wstring_view value, std::size_t markup, Arguments... arguments) {
  DocumentStore& store = *Store();
  Body& body = NeedBody(store);
  const StoredText stored = StoreText(store, sizeof(Leaf), value, Form::kAsItIs);
  auto* const leaf = new (stored.memory) Leaf(this, arguments...);
  leaf->length_ = static_cast<std::uint32_t>(stored.bytes);
  store.length.bytes += markup;
  Append(leaf, body);
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
  for (Node* child = FirstChild(); child; child = child->NextSibling()) {
    if (child->Is(type) && child->Name() == name && index-- == 0) return child;
  }
  return &NullElement;
}

std::wstring NodeContainer::GetChildText(std::size_t) const {
  for (const Node* child = FirstChild(); child; child = child->NextSibling()) {
    if (child->Is(kTextNode)) return child->GetText();
  }
  return {};
}

Element* Element::AddSiblingElement(std::wstring_view name) {
  return Parent()->AddElement(name);
}

Attribute* Element::Find(std::wstring_view name, const StoredName* interned) const noexcept {
  if (length_ > kManyAttributes) {
    const auto& index = Store()->attributes;
    const auto found = index.find({this, name});
    return found == index.end() ? nullptr : found->second;
  }
  for (Attribute* attribute = FirstAttribute(); attribute; attribute = attribute->NextAttribute())
    if (&attribute->Tag() == interned || attribute->Tag().Is(name)) return attribute;
  return nullptr;
}

template <class MakeAttribute>
Attribute* Element::AddAttribute(DocumentStore& store, const StoredName* name, MakeAttribute make) {
  Body& body = NeedBody(store);
  Attribute** indexed = nullptr;
  if (length_ == kManyAttributes)
    for (Attribute* known = FirstAttribute(); known; known = known->NextAttribute())
      store.attributes[{this, known->Tag().View()}] = known;
  // If there is no memory for the attribute itself, the entry stays null, which means no attribute.
  if (length_ >= kManyAttributes) indexed = &store.attributes[{this, name->View()}];
  Attribute* const attribute = make();
  if (indexed) *indexed = attribute;
  store.length.Add(LengthOf(" =\"\""), *name, 1);
  Link(body.firstAttribute, body.lastAttribute, attribute);
  ++length_;
  return attribute;
}

Attribute* Element::GetOrAddAttribute(std::wstring_view name) {
  DocumentStore* const store = Store();
  if (!store) return &NullAttribute;
  const StoredName* const stored = store->names.Intern(name);
  if (Attribute* const attribute = Find(name, stored)) return attribute;
  return AddAttribute(*store, stored, [&] { return Make<Attribute>(*store, stored); });
}

void Element::AddToAttribute(std::wstring_view name, std::wstring_view value) {
  DocumentStore* const store = Store();
  if (!store) return;
  const StoredName* const stored = store->names.Intern(name);
  if (Attribute* const attribute = Find(name, stored)) return attribute->AddText(value);
  AddAttribute(*store, stored, [&] { return MakeWithText<Attribute>(*store, stored, value); });
}

Attribute* Element::FindAttribute(std::wstring_view name) const noexcept {
  Attribute* const attribute = Find(name, nullptr);
  return attribute ? attribute : &NullAttribute;
}

Savepoint::Savepoint(NodeContainer& container) noexcept
    : container_(container.Store() ? &container : nullptr),
      lastChild_(container.GetBody() ? container.GetBody()->lastChild : nullptr) {
  if (container_) length_ = container_->Store()->length;
}

Savepoint::~Savepoint() {
  if (!container_ || !container_->Has(Node::kHasBody)) return;
  NodeContainer::Body& body = *container_->body_;
  body.store->length = length_;
  body.lastChild = lastChild_;
  if (lastChild_) {
    lastChild_->next_ = container_;
    lastChild_->Set(Node::kIsLast, true);
  } else {
    body.firstChild = nullptr;
    if (container_->Has(Node::kHasOwnText)) container_->OwnText()->Set(Node::kIsLast, true);
  }
}

}  // namespace AdvXMLParser
