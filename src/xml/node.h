#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace AdvXMLParser {

class NodeContainer;
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

// True for exactly the five null nodes that stand for a missing node (null_nodes.h).
bool IsNull(const Node* node) noexcept;

}  // namespace AdvXMLParser
