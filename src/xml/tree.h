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

// The DOM node-type numbers; callers test node kinds with them.
enum NodeType : std::uint8_t {
  kElementNode = 1,
  kAttributeNode = 2,
  kTextNode = 3,
  kCDataNode = 4,
  kPiNode = 7,
  kCommentNode = 8,
  kDocumentNode = 9,
};

// One node of a document tree. Its container makes it, in the memory of the document, and it lives as long as
// the document; names and values are copied there. A tree has no lock: whoever owns the document serialises
// access to it. Every operation that adds to a document may throw std::bad_alloc, also for a text of more
// than kLongestText units, and has added nothing then.
//
// Behaviour is chosen by switching on the type. Nodes have no virtual functions and no destructors, so the
// arena can drop them all at once.
class Node {
 public:
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  // The node's own value; empty for elements and documents.
  std::wstring GetValue() const;
  // The text of the node and everything below it, white space treated as each class says.
  std::wstring GetText() const;
  bool Is(int type) const noexcept { return type == type_; }
  // A deep copy, appended to `parent`: an attribute into the attribute of that name of an element. A
  // document's copy stands alone; it is a Document and the caller's to delete.
  Node* Clone(NodeContainer* parent) const;
  // Appends the node's markup to the context (write_context.cpp).
  void Write(WriteContext& context) const;

  NodeType Type() const noexcept { return type_; }
  std::wstring_view Name() const noexcept;
  // The container that holds this node; a null node's and a document's is NullElement.
  NodeContainer* Parent() const noexcept;
  // The child, or the attribute, behind this one of the same container; null behind the last.
  Node* NextSibling() const noexcept;
  // What a text, CDATA section, comment or instruction holds, as UTF-8; of a text with its entities.
  std::string_view StoredValue() const noexcept;

 protected:
  enum Flags : std::uint8_t {
    kIsLast = 1,            // of its siblings
    kIsOwnText = 2,         // a text that is stored in one piece with its container
    kHasOwnText = 4,        // that container
    kHasBody = 8,           // containers: body_ is set, not parent_
    kKeepsWhitespace = 16,  // elements
  };

  constexpr Node(NodeType type, int flags) noexcept : type_(type), flags_(static_cast<std::uint8_t>(flags)) {}

  bool Has(Flags flag) const noexcept { return (flags_ & flag) != 0; }
  void Set(Flags flag, bool value) noexcept {
    flags_ = static_cast<std::uint8_t>(value ? flags_ | flag : flags_ & ~flag);
  }

 private:
  friend class NodeContainer;
  friend class Element;
  friend class Addition;

  std::uint32_t length_ = 0;  // bytes of a leaf's stored value; how many attributes an element has
  NodeType type_;
  std::uint8_t flags_;
};

// Every node but a text that is stored with its container.
class LinkedNode : public Node {
 public:
  constexpr LinkedNode(NodeType type, Node* container) noexcept : Node(type, kIsLast), next_(container) {}

 private:
  friend class Node;
  friend class NodeContainer;
  friend class Addition;

  Node* next_;  // of the last one, its container
};

// A node that holds children, in the order in which they were appended. One that is made with a text, the
// usual case, has it in one piece of memory with itself; a body for all else is made when it is needed.
class NodeContainer : public LinkedNode {
 public:
  // Appends a new, empty element and returns it; NullElement when this is a null node.
  Element* AddElement(std::wstring_view name);
  // The same with one text, or nothing at all.
  Element* AddElement(std::wstring_view name, std::wstring_view text);

  // Adds text content as a further Text child. It never replaces what is there: an attribute that is given
  // text twice reads as both texts joined. Nothing is added to a null node, nor by the next three.
  void AddText(std::wstring_view value);

  // Written as they stand: their texts must not hold the markup that ends them. An attribute takes none of
  // them, and no elements either.
  void AddCData(std::wstring_view value);
  void AddComment(std::wstring_view value);
  void AddPi(std::wstring_view target, std::wstring_view data);

  // The index-th (from zero) child of that exact name and node type, else NullElement.
  Node* FindChildElement(std::wstring_view name, std::size_t index, int type = kElementNode) const noexcept;

  // The text of the first Text child, whatever the index; empty when there is none.
  std::wstring GetChildText(std::size_t index) const;

  // Appends a deep copy of each child.
  void CloneChildrenInto(NodeContainer& target) const;

  // Null when there is none.
  Node* FirstChild() const noexcept {
    return Has(kHasOwnText) ? OwnText() : Has(kHasBody) ? body_->firstChild : nullptr;
  }
  Node* LastChild() const noexcept {
    if (Has(kHasBody) && body_->lastChild) return body_->lastChild;
    return Has(kHasOwnText) ? OwnText() : nullptr;
  }
  const StoredName& Tag() const noexcept { return *name_; }
  // How long the compact markup of the whole document is; of a null node, which has none, its own.
  std::uint64_t BytesOfDocument() const noexcept {
    const DocumentStore* const store = Store();
    return store ? store->length.bytes : LengthOf("=\"\"/>");
  }

 protected:
  struct Body {
    NodeContainer* parent;
    DocumentStore* store;
    LinkedNode* firstChild = nullptr;  // behind the own text
    LinkedNode* lastChild = nullptr;
    Attribute* firstAttribute = nullptr;
    Attribute* lastAttribute = nullptr;
  };

  constexpr NodeContainer(NodeType type, const StoredName* name, NodeContainer* parent) noexcept
      : LinkedNode(type, parent), name_(name), parent_(parent) {}
  const Body* GetBody() const noexcept { return Has(kHasBody) ? body_ : nullptr; }
  // Makes it when there is none.
  Body& NeedBody(DocumentStore& store) { return Has(kHasBody) ? *body_ : MakeBody(store); }
  // Null for null nodes. Whatever is part of another container is there because that one has a body.
  DocumentStore* Store() const noexcept {
    const Body* body = GetBody();
    if (!body) body = parent_->GetBody();
    return body ? body->store : nullptr;
  }
  // A new element or attribute for this container, not linked yet.
  template <class Container>
  Container* Make(DocumentStore& store, const StoredName* name);
  template <class Container>
  Container* MakeWithText(DocumentStore& store, const StoredName* name, const std::wstring_view& text);
  // Appends to a list of children or attributes.
  template <class Listed>
  static void Link(Listed*& first, Listed*& last, Listed* added) noexcept;

 private:
  friend class Node;
  friend class Addition;

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

class CData final : public LinkedNode {
 public:
  constexpr explicit CData(Node* container) noexcept : LinkedNode(kCDataNode, container) {}
};

class Comment final : public LinkedNode {
 public:
  constexpr explicit Comment(Node* container) noexcept : LinkedNode(kCommentNode, container) {}
};

// A processing instruction; its name is the target.
class Pi final : public LinkedNode {
 public:
  constexpr Pi(Node* container, const StoredName* target) noexcept
      : LinkedNode(kPiNode, container), target_(target) {}

  const StoredName& Target() const noexcept { return *target_; }

 private:
  const StoredName* target_;
};

// An attribute's value is held as Text children and written as their concatenation. GetText trims it of white
// space, and GetValue is the same.
class Attribute final : public NodeContainer {
 public:
  constexpr Attribute(const StoredName* name, NodeContainer* element) noexcept
      : NodeContainer(kAttributeNode, name, element) {}

  Attribute* NextAttribute() const noexcept { return static_cast<Attribute*>(NextSibling()); }
};

// GetText joins the children's texts, trims them of white space and takes out any CR, unless the element
// keeps its white space.
class Element final : public NodeContainer {
 public:
  constexpr Element(const StoredName* name, NodeContainer* parent) noexcept
      : NodeContainer(kElementNode, name, parent) {}
  // A null node, which is its own container.
  constexpr explicit Element(const StoredName* name) noexcept : Element(name, this) {}

  // Appends a new element at the end of the parent's children (not right after this one) and returns it.
  // NullElement when this is a null node.
  Element* AddSiblingElement(std::wstring_view name);

  // The attribute of that exact name, appended empty when missing. NullAttribute when this is a null node.
  Attribute* GetOrAddAttribute(std::wstring_view name);
  // Adds text to the attribute of that exact name, which is made when missing: it never replaces what is
  // there. Nothing is done to a null node.
  void AddToAttribute(std::wstring_view name, std::wstring_view value);
  // The attribute of that exact name, else NullAttribute.
  Attribute* FindAttribute(std::wstring_view name) const noexcept;

  Attribute* FirstAttribute() const noexcept { return GetBody() ? GetBody()->firstAttribute : nullptr; }
  void KeepWhitespace(bool keep) noexcept { Set(kKeepsWhitespace, keep); }

 private:
  // Null when there is none. `interned` is the name as the document holds it, or null.
  Attribute* Find(std::wstring_view name, const StoredName* interned) const noexcept;
  template <class MakeAttribute>
  Attribute* AddAttribute(DocumentStore& store, const StoredName* name, MakeAttribute make);
};

// A savepoint: the destructor takes back all children that were added to the container since, with all below
// them, unless Keep has been called. So several additions succeed together or not at all.
class Addition {
 public:
  explicit Addition(NodeContainer& container) noexcept;
  ~Addition();
  Addition(const Addition&) = delete;
  Addition& operator=(const Addition&) = delete;

  void Keep() noexcept { container_ = nullptr; }

 private:
  NodeContainer* container_;  // null when there is nothing to take back
  LinkedNode* lastChild_;     // but for the own text
  DocumentStore::Length length_;
};

// Stand-ins for a missing node, returned instead of null pointers; they live as long as the library is
// loaded. Test what a lookup or an addition gave with IsNull before using it. Adding an element or attribute
// to one of them gives a null node again.
extern Element NullElement;
extern Attribute NullAttribute;
extern CData NullCData;
extern Comment NullComment;
extern Pi NullPi;

// True for exactly these five.
bool IsNull(const Node* node) noexcept;

// The own text of an element or attribute follows its container, which has the same size for both.
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
