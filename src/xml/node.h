#pragma once

#include "xml/document_store.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace AdvXMLParser {

class Attribute;
class Element;
class NodeContainer;
struct WriteContext;

// The node-type numbers of DOM.
enum NodeType : std::uint8_t {
  kElementNode = 1,
  kAttributeNode = 2,
  kTextNode = 3,
  kCDataNode = 4,
  kPiNode = 7,
  kCommentNode = 8,
  kDocumentNode = 9,
};

// One node of a document tree. Its container creates it in the memory of the document, and it lives as long
// as the document. Names and values are copied. A tree has no lock: the owner of the document serialises
// access. Every operation that adds to a document may throw std::bad_alloc, also for a text of more than
// kLongestText units, and then has added nothing. Behaviour is chosen by switching on the type. Nodes have no
// virtual functions and no destructors, so the arena can drop them all at once.
// "Not used" in this file: no code of this DLL calls it, because it is part of the XML library.
class Node {
 public:
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  // Returns the node's own value; an empty text for elements and documents.
  std::wstring GetValue() const;
  // Returns the text of the node and everything below it. Each class says how it treats white space.
  std::wstring GetText() const;
  bool Is(int type) const noexcept { return type == type_; }
  // Appends a deep copy to `parent`, an attribute to that of the same name, and returns it; null for an
  // attribute if `parent` is no element. A document's copy is new, and the caller deletes it. Not used.
  Node* Clone(NodeContainer* parent) const;
  // Appends the node's markup to the context's text (markup_writer.cpp).
  void Write(WriteContext& context) const;

  NodeType Type() const noexcept { return type_; }
  // Returns the name; for a node without one DOM's, such as "#text".
  std::wstring_view Name() const noexcept;
  // Returns the container of this node; NullElement for a null node and a document.
  NodeContainer* Parent() const noexcept;
  // Returns the next child or attribute of the same container; null after the last.
  Node* NextSibling() const noexcept;
  // Returns the value of a text (with its entities), CDATA section, comment or instruction as UTF-8.
  std::string_view StoredValue() const noexcept;

 protected:
  enum Flags : std::uint8_t {
    kIsLast = 1,            // the last of its siblings
    kIsOwnText = 2,         // a text that is stored directly after its container
    kHasOwnText = 4,        // a container with such a text
    kHasBody = 8,           // a container that uses body_ instead of parent_
    kKeepsWhitespace = 16,  // an element whose GetText keeps white space
  };

  constexpr Node(NodeType type, int flags) noexcept : type_(type), flags_(static_cast<std::uint8_t>(flags)) {}

  bool Has(Flags flag) const noexcept { return (flags_ & flag) != 0; }
  void Set(Flags flag, bool value) noexcept {
    flags_ = static_cast<std::uint8_t>(value ? flags_ | flag : flags_ & ~flag);
  }

 private:
  friend class NodeContainer;
  friend class Element;
  friend class Savepoint;

  std::uint32_t length_ = 0;  // bytes of a leaf's value, or number of an element's attributes
  NodeType type_;
  std::uint8_t flags_;
};

// A node with a link to its next sibling: every node except an own text.
class LinkedNode : public Node {
 public:
  constexpr LinkedNode(NodeType type, Node* container) noexcept : Node(type, kIsLast), next_(container) {}

 private:
  friend class Node;
  friend class NodeContainer;
  friend class Savepoint;

  Node* next_;  // the last sibling's points to its container
};

// A node with children, in the order in which they were appended. A container that is created with a text,
// the usual case, is stored in one allocation with that text, its own text. A Body for everything else is
// allocated when it is needed.
class NodeContainer : public LinkedNode {
 public:
  // Append an element, without content or with one text, and return it; NullElement for a null node and an
  // attribute. An empty text is written as "<a></a>", no content as "<a/>".
  Element* AddElement(std::wstring_view name);
  Element* AddElement(std::wstring_view name, std::wstring_view text);

  // Appends a Text child. Does nothing for a null node, like the next three functions.
  void AddText(std::wstring_view value);

  // Append nodes whose texts are written unescaped, so they must not have the markup that ends them. Does
  // nothing for an attribute. Not used.
  void AddCData(std::wstring_view value);
  void AddComment(std::wstring_view value);
  void AddPi(std::wstring_view target, std::wstring_view data);

  // Returns the index-th child (from zero) with this exact name and node type; NullElement if there is none.
  Node* FindChildElement(std::wstring_view name, std::size_t index, int type = kElementNode) const noexcept;

  // Returns the text of the first Text child, for any index; an empty text if there is none.
  std::wstring GetChildText(std::size_t index) const;

  // Appends a deep copy of each child to `target`. Not used.
  void CloneChildrenInto(NodeContainer& target) const;

  // Return null if there is no child.
  Node* FirstChild() const noexcept {
    return Has(kHasOwnText) ? OwnText() : Has(kHasBody) ? body_->firstChild : nullptr;
  }
  Node* LastChild() const noexcept {
    if (Has(kHasBody) && body_->lastChild) return body_->lastChild;
    return Has(kHasOwnText) ? OwnText() : nullptr;
  }
  const StoredName& Tag() const noexcept { return *name_; }
  // Returns the length of the document's compact markup in UTF-8 bytes; for a null node, which has no
  // document, an upper bound of its own.
  std::uint64_t BytesOfDocument() const noexcept {
    const DocumentStore* const store = Store();
    return store ? store->length.bytes : LengthOf("=\"\"/>");
  }

 protected:
  struct Body {
    NodeContainer* parent;
    DocumentStore* store;
    LinkedNode* firstChild = nullptr;  // after the own text
    LinkedNode* lastChild = nullptr;
    Attribute* firstAttribute = nullptr;
    Attribute* lastAttribute = nullptr;
  };

  constexpr NodeContainer(NodeType type, const StoredName* name, NodeContainer* parent) noexcept
      : LinkedNode(type, parent), name_(name), parent_(parent) {}
  const Body* GetBody() const noexcept { return Has(kHasBody) ? body_ : nullptr; }
  // Returns the body, allocated if missing. NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn)
  Body& NeedBody(DocumentStore& store) { return Has(kHasBody) ? *body_ : MakeBody(store); }
  // Returns the document's state; null for null nodes. The parent of a container without a body has one.
  DocumentStore* Store() const noexcept {
    const Body* body = GetBody();
    if (!body) body = parent_->GetBody();
    return body ? body->store : nullptr;
  }
  // Create an element or attribute for this container, not linked yet.
  template <class Container>
  Container* Make(DocumentStore& store, const StoredName* name);
  template <class Container>
  Container* MakeWithText(DocumentStore& store, const StoredName* name, const std::wstring_view& text);
  // Appends to a list of children or attributes.
  template <class Listed>
  static void Link(Listed*& first, Listed*& last, Listed* added) noexcept;

 private:
  friend class Node;
  friend class Savepoint;

  Body& MakeBody(DocumentStore& store);
  Node* OwnText() const noexcept;
  template <class Leaf, class... Arguments>
  void AddUnescaped(std::wstring_view value, std::size_t markup, Arguments... arguments);
  void Append(LinkedNode* child, Body& body) noexcept;
  std::wstring JoinChildTexts() const;

  const StoredName* name_;
  union {
    NodeContainer* parent_;
    Body* body_;
  };
};

// Not used, like Comment and Pi.
class CData final : public LinkedNode {
 public:
  constexpr explicit CData(Node* container) noexcept : LinkedNode(kCDataNode, container) {}
};

class Comment final : public LinkedNode {
 public:
  constexpr explicit Comment(Node* container) noexcept : LinkedNode(kCommentNode, container) {}
};

// A processing instruction. Its name is the target.
class Pi final : public LinkedNode {
 public:
  constexpr Pi(Node* container, const StoredName* target) noexcept
      : LinkedNode(kPiNode, container), target_(target) {}

  const StoredName& Target() const noexcept { return *target_; }

 private:
  const StoredName* target_;
};

// An attribute. Its value is all its Text children. GetValue and GetText trim white space at both ends.
class Attribute final : public NodeContainer {
 public:
  constexpr Attribute(const StoredName* name, NodeContainer* element) noexcept
      : NodeContainer(kAttributeNode, name, element) {}

  Attribute* NextAttribute() const noexcept { return static_cast<Attribute*>(NextSibling()); }
};

// An element. GetText joins the children's texts, trims white space and removes every CR, unless
// KeepWhitespace is set.
class Element final : public NodeContainer {
 public:
  constexpr Element(const StoredName* name, NodeContainer* parent) noexcept
      : NodeContainer(kElementNode, name, parent) {}
  // Creates a null node, which is its own container.
  constexpr explicit Element(const StoredName* name) noexcept : Element(name, this) {}

  // Appends an element after the last child of the parent and returns it; NullElement for a null node.
  Element* AddSiblingElement(std::wstring_view name);

  // Returns the attribute with this exact name, added if missing; NullAttribute for a null node. Not used.
  Attribute* GetOrAddAttribute(std::wstring_view name);
  // Appends text to the attribute with this exact name, added if missing. Does nothing for a null node.
  void AddToAttribute(std::wstring_view name, std::wstring_view value);
  // Returns the attribute with this exact name; NullAttribute if there is none. Not used.
  Attribute* FindAttribute(std::wstring_view name) const noexcept;

  Attribute* FirstAttribute() const noexcept { return GetBody() ? GetBody()->firstAttribute : nullptr; }
  // Not used.
  void KeepWhitespace(bool keep) noexcept { Set(kKeepsWhitespace, keep); }

 private:
  // Returns null if there is none. `interned` is the name as the document stores it, or null.
  Attribute* Find(std::wstring_view name, const StoredName* interned) const noexcept;
  template <class MakeAttribute>
  Attribute* AddAttribute(DocumentStore& store, const StoredName* name, MakeAttribute make);
};

// The state of a container to which the destructor rolls back, unless Commit has been called: it removes all
// children added since, with everything below them. So several additions succeed together or not at all.
// Add nothing else meanwhile: it would stay, but the length for which ToUtf8 allocates would not count it.
class Savepoint {
 public:
  explicit Savepoint(NodeContainer& container) noexcept;
  ~Savepoint();
  Savepoint(const Savepoint&) = delete;
  Savepoint& operator=(const Savepoint&) = delete;

  void Commit() noexcept { container_ = nullptr; }

 private:
  NodeContainer* container_;  // null after Commit
  LinkedNode* lastChild_;     // not the own text
  DocumentStore::Length length_;
};

// The null nodes, which functions return in place of a missing node. They live as long as the library. Test
// with IsNull before use. Adding an element or attribute to a null node returns a null node.
extern Element NullElement;
extern Attribute NullAttribute;
extern CData NullCData;
extern Comment NullComment;
extern Pi NullPi;

// True for these five nodes only.
bool IsNull(const Node* node) noexcept;

// OwnText and NextSibling need the same size for both, because the own text follows its container.
static_assert(sizeof(Element) == sizeof(NodeContainer) && sizeof(Attribute) == sizeof(NodeContainer));

inline Node* NodeContainer::OwnText() const noexcept {
  return reinterpret_cast<Node*>(const_cast<NodeContainer*>(this) + 1);
}

inline Node* Node::NextSibling() const noexcept {
  if (Has(kIsLast)) return nullptr;
  if (!Has(kIsOwnText)) return static_cast<const LinkedNode*>(this)->next_;
  return (reinterpret_cast<const NodeContainer*>(this) - 1)->body_->firstChild;
}

inline std::string_view Node::StoredValue() const noexcept {
  const std::size_t size = Has(kIsOwnText) ? sizeof(Node) : Is(kPiNode) ? sizeof(Pi) : sizeof(LinkedNode);
  return {reinterpret_cast<const char*>(this) + size, length_};
}

}  // namespace AdvXMLParser
