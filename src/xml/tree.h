#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace AdvXMLParser {

class Element;
class NodeContainer;
class Text;
struct WriteContext;

// The DOM node-type numbers; callers test node kinds with them.
enum NodeType : int {
  kElementNode = 1,
  kAttributeNode = 2,
  kTextNode = 3,
  kCDataNode = 4,
  kPiNode = 7,
  kCommentNode = 8,
  kDocumentNode = 9,
};

// One node of a document tree. Names and values are copied into the node. A tree has no lock: whoever owns
// the document serialises access to it. Every operation that makes or copies text may throw std::bad_alloc.
class Node {
 public:
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  virtual ~Node() = default;

  // The node's own value; empty for elements and documents.
  virtual std::wstring GetValue() const = 0;
  // The text of the node and everything below it, white space treated as each class says.
  virtual std::wstring GetText() const = 0;
  virtual bool Is(int type) const noexcept = 0;
  // A deep copy that names `parent` as its container; the caller appends it there.
  virtual std::unique_ptr<Node> Clone(NodeContainer* parent) const = 0;
  // Appends the node's markup to the context.
  virtual void Write(WriteContext& context) const = 0;

  const std::wstring& Name() const noexcept { return name_; }
  // The container that holds this node (not owned); null for a node that stands alone.
  NodeContainer* Parent() const noexcept { return parent_; }

 protected:
  Node(std::wstring_view name, NodeContainer* parent) : name_(name), parent_(parent) {}

 private:
  friend class NodeContainer;

  std::wstring name_;
  NodeContainer* parent_;
};

// A node that owns children, in the order in which they were appended.
class NodeContainer : public Node {
 public:
  ~NodeContainer() override;

  void Write(WriteContext& context) const override;

  // Appends a node and becomes its parent. If there is no memory nothing is appended and the node is freed.
  void Append(std::unique_ptr<Node> child);

  // Appends several; if there is no memory, none of them.
  void AppendAll(std::vector<std::unique_ptr<Node>> children);

  // Appends a new, empty element and returns it; NullElement when this is a null node.
  Element* AddElement(std::wstring_view name);

  // Adds text content as a further Text child. It never replaces what is there: an attribute that is given
  // text twice reads as both texts joined. Not for null nodes: test with IsNull first.
  void AddText(std::wstring_view value);

  // The index-th (from zero) child of that exact name and node type, else NullElement.
  Node* FindChildElement(std::wstring_view name, std::size_t index, int type = kElementNode) const noexcept;

  // The text of the first Text child, whatever the index; empty when there is none.
  std::wstring GetChildText(std::size_t index) const;

  const std::vector<std::unique_ptr<Node>>& Children() const noexcept { return children_; }

 protected:
  using Node::Node;

  // What GetText returned for each child, joined.
  std::wstring JoinChildTexts() const;
  void CloneChildrenInto(NodeContainer& target) const;

 private:
  std::vector<std::unique_ptr<Node>> children_;
  // A trailing Text child that AddText would extend. No operation sets it: every AddText makes a new child.
  Text* lastText_ = nullptr;
};

// Nodes without children. GetValue and GetText are both the stored text, unchanged.
class LeafNode : public Node {
 public:
  std::wstring GetValue() const override { return value_; }
  std::wstring GetText() const override { return value_; }

 protected:
  LeafNode(std::wstring_view name, NodeContainer* parent, std::wstring_view value)
      : Node(name, parent), value_(value) {}

  std::wstring value_;
};

// Character data; written escaped.
class Text final : public LeafNode {
 public:
  Text(NodeContainer* parent, std::wstring_view value) : LeafNode(L"#text", parent, value) {}

  bool Is(int type) const noexcept override { return type == kTextNode; }
  std::unique_ptr<Node> Clone(NodeContainer* parent) const override;
  void Write(WriteContext& context) const override;

  void Extend(std::wstring_view more) { value_ += more; }
};

// The next three are written as stored: their text must not hold the markup that ends them.

class CData final : public LeafNode {
 public:
  CData(NodeContainer* parent, std::wstring_view value) : LeafNode(L"#cdata-section", parent, value) {}

  bool Is(int type) const noexcept override { return type == kCDataNode; }
  std::unique_ptr<Node> Clone(NodeContainer* parent) const override;
  void Write(WriteContext& context) const override;
};

class Comment final : public LeafNode {
 public:
  Comment(NodeContainer* parent, std::wstring_view value) : LeafNode(L"#comment", parent, value) {}

  bool Is(int type) const noexcept override { return type == kCommentNode; }
  std::unique_ptr<Node> Clone(NodeContainer* parent) const override;
  void Write(WriteContext& context) const override;
};

// A processing instruction; its name is the target.
class Pi final : public LeafNode {
 public:
  Pi(std::wstring_view target, NodeContainer* parent, std::wstring_view data)
      : LeafNode(target, parent, data) {}

  bool Is(int type) const noexcept override { return type == kPiNode; }
  std::unique_ptr<Node> Clone(NodeContainer* parent) const override;
  void Write(WriteContext& context) const override;
};

// An attribute's value is held as Text children and written as their concatenation.
class Attribute final : public NodeContainer {
 public:
  Attribute(std::wstring_view name, NodeContainer* parent) : NodeContainer(name, parent) {}

  std::wstring GetValue() const override { return GetText(); }
  // The joined children, trimmed of white space.
  std::wstring GetText() const override;
  bool Is(int type) const noexcept override { return type == kAttributeNode; }
  std::unique_ptr<Node> Clone(NodeContainer* parent) const override;
  void Write(WriteContext& context) const override;
};

class Element final : public NodeContainer {
 public:
  Element(std::wstring_view name, NodeContainer* parent) : NodeContainer(name, parent) {}

  std::wstring GetValue() const override { return {}; }
  // The joined children, trimmed of white space and without any CR, unless the element keeps its white space.
  std::wstring GetText() const override;
  bool Is(int type) const noexcept override { return type == kElementNode; }
  std::unique_ptr<Node> Clone(NodeContainer* parent) const override;
  void Write(WriteContext& context) const override;

  // Appends a new element at the end of the parent's children (not right after this one) and returns it.
  // NullElement when this is a null node or has no parent.
  Element* AddSiblingElement(std::wstring_view name);

  // The attribute of that exact name, appended empty when missing. NullAttribute when this is a null node.
  Attribute* GetOrAddAttribute(std::wstring_view name);
  // Adds text to the attribute of that exact name, which is made when missing: it never replaces what is
  // there. If there is no memory nothing changes, and nothing is done to a null node.
  void AddToAttribute(std::wstring_view name, std::wstring_view value);
  // The attribute of that exact name, else NullAttribute.
  Attribute* FindAttribute(std::wstring_view name) const noexcept;

  const std::vector<std::unique_ptr<Attribute>>& Attributes() const noexcept { return attributes_; }
  void KeepWhitespace(bool keep) noexcept { keepWhitespace_ = keep; }

 private:
  // True when the element has children, so that its end tag must follow.
  bool WriteStartTag(WriteContext& context) const;
  void WriteEndTag(WriteContext& context) const;

  std::vector<std::unique_ptr<Attribute>> attributes_;
  bool keepWhitespace_ = false;
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
