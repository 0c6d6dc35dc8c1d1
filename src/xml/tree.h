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

// One node of a document tree. It is made by its container, lies in its document's memory and goes with the
// document; names and values are copied there. A tree has no lock: whoever owns the document serialises
// access to it. Every operation that adds to a document may throw std::bad_alloc, also for a text of more
// than kLongestText units, and has added nothing then.
//
// What each class answers hangs on the type; nodes have no virtual functions, and nothing is done when they
// go.
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
  Node* NextSibling() const noexcept { return isLast_ ? nullptr : next_; }

 protected:
  constexpr Node(NodeType type, Node* container) noexcept : next_(container), type_(type) {}

 private:
  friend class NodeContainer;
  friend class LeafNode;
  friend class Text;
  friend class Element;
  friend class Addition;

  enum Flags : std::uint8_t {
    kKeepsWhitespace = 1,  // elements
    kIsPlain = 2,          // texts, and the next two
    kHasEntities = 4,
    kEndsInHighSurrogate = 8,
  };

  Node* next_;                // of the last one, its container
  std::uint32_t length_ = 0;  // of a leaf's value, in units
  NodeType type_;
  std::uint8_t flags_ = 0;
  bool isLast_ = true;
};

// A node that holds children, in the order in which they were appended.
class NodeContainer : public Node {
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
  Node* FirstChild() const noexcept { return firstChild_; }
  Node* LastChild() const noexcept { return lastChild_; }
  const StoredName& Tag() const noexcept { return *name_; }
  // How long the compact markup of the whole document is; of a null node, which has none, its own.
  std::uint64_t UnitsOfDocument() const noexcept {
    return Store() ? Store()->length.units : LengthOf("=\"\"/>");
  }

 protected:
  constexpr NodeContainer(NodeType type, const StoredName* name, Node* container) noexcept
      : Node(type, container), name_(name) {}

  // Null for null nodes.
  DocumentStore* Store() const noexcept { return name_->store; }

 private:
  friend class Node;
  friend class Addition;

  template <class Leaf, class... Arguments>
  void AddUnescaped(std::wstring_view value, std::size_t markup, Arguments... arguments);
  void Append(Node* child) noexcept;
  std::wstring JoinChildTexts() const;

  const StoredName* name_;
  Node* firstChild_ = nullptr;
  Node* lastChild_ = nullptr;
};

// Character data; written escaped. The value lies behind the node, and most values are ASCII with nothing to
// escape: these take a byte for each unit.
class Text final : public Node {
 public:
  constexpr explicit Text(Node* container) noexcept : Node(kTextNode, container) {}

  // Which of the next two has the value. The markup of a plain one is the value.
  bool IsPlain() const noexcept { return (flags_ & kIsPlain) != 0; }
  std::string_view PlainValue() const noexcept { return {reinterpret_cast<const char*>(this + 1), length_}; }
  std::wstring_view SpecialValue() const noexcept {
    return {reinterpret_cast<const wchar_t*>(this + 1), length_};
  }
  bool HasEntities() const noexcept { return (flags_ & kHasEntities) != 0; }
  std::size_t Length() const noexcept { return length_; }

 private:
  friend class NodeContainer;

  // Into the memory behind the node, which has room for it.
  void SetValue(std::wstring_view value, DocumentStore::Length& length) noexcept;
};

// The other nodes without children; written as they stand.
class LeafNode : public Node {
 public:
  // Lies behind the node.
  std::wstring_view Value() const noexcept;

 protected:
  constexpr LeafNode(NodeType type, Node* container) noexcept : Node(type, container) {}
};

class CData final : public LeafNode {
 public:
  constexpr explicit CData(Node* container) noexcept : LeafNode(kCDataNode, container) {}
};

class Comment final : public LeafNode {
 public:
  constexpr explicit Comment(Node* container) noexcept : LeafNode(kCommentNode, container) {}
};

// A processing instruction; its name is the target.
class Pi final : public LeafNode {
 public:
  constexpr Pi(Node* container, const StoredName* target) noexcept
      : LeafNode(kPiNode, container), target_(target) {}

  const StoredName& Target() const noexcept { return *target_; }

 private:
  const StoredName* target_;
};

inline std::wstring_view LeafNode::Value() const noexcept {
  const auto* const node = reinterpret_cast<const char*>(this);
  return {reinterpret_cast<const wchar_t*>(node + (Is(kPiNode) ? sizeof(Pi) : sizeof(LeafNode))), length_};
}

// An attribute's value is held as Text children and written as their concatenation. GetText trims it of white
// space, and GetValue is the same.
class Attribute final : public NodeContainer {
 public:
  constexpr Attribute(const StoredName* name, Node* element) noexcept
      : NodeContainer(kAttributeNode, name, element) {}

  Attribute* NextAttribute() const noexcept { return static_cast<Attribute*>(NextSibling()); }
};

// GetText joins the children's texts, trims them of white space and takes out any CR, unless the element
// keeps its white space.
class Element final : public NodeContainer {
 public:
  constexpr Element(const StoredName* name, NodeContainer* parent) noexcept
      : NodeContainer(kElementNode, name, parent), parent_(parent) {}
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

  Attribute* FirstAttribute() const noexcept { return firstAttribute_; }
  void KeepWhitespace(bool keep) noexcept { flags_ = keep ? kKeepsWhitespace : 0; }

 private:
  friend class Node;

  Attribute* MakeAttribute(std::wstring_view name);
  void Append(Attribute* attribute) noexcept;

  NodeContainer* parent_;
  Attribute* firstAttribute_ = nullptr;
};

// While it lives, further children of a container, with all below them, are on trial: unless Keep is called
// they are gone when it goes. So several additions succeed together or not at all.
class Addition {
 public:
  explicit Addition(NodeContainer& container) noexcept;
  ~Addition();
  Addition(const Addition&) = delete;
  Addition& operator=(const Addition&) = delete;

  void Keep() noexcept { container_ = nullptr; }

 private:
  NodeContainer* container_;  // null when there is nothing to take back
  Node* lastChild_;
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

}  // namespace AdvXMLParser
