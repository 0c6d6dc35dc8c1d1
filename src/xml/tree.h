#pragma once

#include "xml/names.h"
#include "xml/text_form.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace AdvXMLParser {

class Attribute;
class Element;
class NodeContainer;
struct WriteContext;

// What all nodes of one document share: their memory, their names, and how long the document's compact markup
// is.
struct DocumentStore {
  struct Length {
    std::size_t units = 0;  // as UTF-16
    std::size_t bytes = 0;  // as UTF-8
    bool hasZero = false;   // what is saved ends there
  };

  Arena arena;
  NameTable names{arena};
  Length length;

  // The length of ASCII markup, and of a name.
  void Add(std::size_t markup) noexcept {
    length.units += markup;
    length.bytes += markup;
  }
  void Add(const StoredName& name) noexcept {
    length.units += name.length;
    length.bytes += name.utf8Length;
    length.hasZero |= name.hasZero;
  }
};

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
// access to it. Every operation that adds to a document may throw std::bad_alloc, or std::length_error for a
// text of more than kLongestText units, and has added nothing then.
class Node {
 public:
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  virtual ~Node() = default;

  // The node's own value; empty for elements and documents.
  virtual std::wstring GetValue() const = 0;
  // The text of the node and everything below it, white space treated as each class says.
  virtual std::wstring GetText() const = 0;
  bool Is(int type) const noexcept { return type == type_; }
  // A deep copy, appended to `parent`; a document's copy stands alone and is the caller's to delete.
  virtual Node* Clone(NodeContainer* parent) const = 0;
  // Appends the node's markup to the context (write_context.cpp).
  void Write(WriteContext& context) const;

  std::wstring_view Name() const noexcept { return name_->View(); }
  const StoredName& Tag() const noexcept { return *name_; }
  NodeType Type() const noexcept { return type_; }
  // The container that holds this node; a null node's is NullElement.
  NodeContainer* Parent() const noexcept { return parent_; }
  // The child, or the attribute, behind this one of the same container; null behind the last.
  Node* NextSibling() const noexcept { return next_; }

 protected:
  constexpr Node(NodeType type, const StoredName* name, NodeContainer* parent) noexcept
      : name_(name), parent_(parent), type_(type) {}

 private:
  friend class NodeContainer;
  friend class Element;
  friend class Addition;

  const StoredName* name_;
  NodeContainer* parent_;
  Node* next_ = nullptr;
  NodeType type_;

 protected:
  // Of the classes below; there is room for them here.
  bool keepWhitespace_ = false;
  bool isPlain_ = true;
  bool endsInHighSurrogate_ = false;
  std::uint32_t length_ = 0;
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

  // Written as they stand: their texts must not hold the markup that ends them.
  void AddCData(std::wstring_view value);
  void AddComment(std::wstring_view value);
  void AddPi(std::wstring_view target, std::wstring_view data);

  // The index-th (from zero) child of that exact name and node type, else NullElement.
  Node* FindChildElement(std::wstring_view name, std::size_t index, int type = kElementNode) const noexcept;

  // The text of the first Text child, whatever the index; empty when there is none.
  std::wstring GetChildText(std::size_t index) const;

  // Null when there is none.
  Node* FirstChild() const noexcept { return firstChild_; }
  Node* LastChild() const noexcept { return lastChild_; }

 protected:
  constexpr NodeContainer(NodeType type, const StoredName* name, NodeContainer* parent,
                          DocumentStore* store) noexcept
      : Node(type, name, parent), store_(store) {}

  // What GetText returned for each child, joined.
  std::wstring JoinChildTexts() const;
  void CloneChildrenInto(NodeContainer& target) const;

  DocumentStore* const store_;  // null for null nodes

 private:
  friend class Addition;

  Element* MakeElement(std::wstring_view name);
  template <class Leaf>
  Leaf* MakeLeaf(const StoredName* name, std::wstring_view value, TextForm& form);
  template <class Leaf>
  void AddUnescaped(const StoredName* name, std::wstring_view value, std::size_t markup);
  void Append(Element* element) noexcept;
  void Append(Node* child) noexcept;

  Node* firstChild_ = nullptr;
  Node* lastChild_ = nullptr;
};

// Nodes without children. GetValue and GetText are both the stored text, unchanged.
class LeafNode : public Node {
 public:
  std::wstring GetValue() const override { return std::wstring(Value()); }
  std::wstring GetText() const override { return std::wstring(Value()); }
  // Lies behind the node.
  std::wstring_view Value() const noexcept { return {reinterpret_cast<const wchar_t*>(this + 1), length_}; }

 protected:
  friend class NodeContainer;

  using Node::Node;
};

// Character data; written escaped.
class Text final : public LeafNode {
 public:
  constexpr Text(const StoredName* name, NodeContainer* parent) noexcept
      : LeafNode(kTextNode, name, parent) {}
  Node* Clone(NodeContainer* parent) const override;

  // ASCII with nothing to replace: the markup is the value.
  bool IsPlain() const noexcept { return isPlain_; }
};

class CData final : public LeafNode {
 public:
  constexpr CData(const StoredName* name, NodeContainer* parent) noexcept
      : LeafNode(kCDataNode, name, parent) {}
  Node* Clone(NodeContainer* parent) const override;
};

class Comment final : public LeafNode {
 public:
  constexpr Comment(const StoredName* name, NodeContainer* parent) noexcept
      : LeafNode(kCommentNode, name, parent) {}
  Node* Clone(NodeContainer* parent) const override;
};

// A processing instruction; its name is the target.
class Pi final : public LeafNode {
 public:
  constexpr Pi(const StoredName* name, NodeContainer* parent) noexcept : LeafNode(kPiNode, name, parent) {}
  Node* Clone(NodeContainer* parent) const override;
};

// An attribute's value is held as Text children and written as their concatenation.
class Attribute final : public NodeContainer {
 public:
  constexpr Attribute(const StoredName* name, NodeContainer* parent, DocumentStore* store) noexcept
      : NodeContainer(kAttributeNode, name, parent, store) {}

  std::wstring GetValue() const override { return GetText(); }
  // The joined children, trimmed of white space.
  std::wstring GetText() const override;
  // Into the attribute of that name of an element.
  Node* Clone(NodeContainer* parent) const override;

  Attribute* NextAttribute() const noexcept { return static_cast<Attribute*>(NextSibling()); }
};

class Element final : public NodeContainer {
 public:
  constexpr Element(const StoredName* name, NodeContainer* parent, DocumentStore* store) noexcept
      : NodeContainer(kElementNode, name, parent, store) {}
  // A null node, which is its own container.
  constexpr explicit Element(const StoredName* name) noexcept : Element(name, this, nullptr) {}

  std::wstring GetValue() const override { return {}; }
  // The joined children, trimmed of white space and without any CR, unless the element keeps its white space.
  std::wstring GetText() const override;
  Node* Clone(NodeContainer* parent) const override;

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
  void KeepWhitespace(bool keep) noexcept { keepWhitespace_ = keep; }

 private:
  Attribute* MakeAttribute(std::wstring_view name);
  void Append(Attribute* attribute) noexcept;

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
extern Element& NullElement;
extern Attribute& NullAttribute;
extern CData& NullCData;
extern Comment& NullComment;
extern Pi& NullPi;

// True for exactly these five.
bool IsNull(const Node* node) noexcept;

}  // namespace AdvXMLParser
