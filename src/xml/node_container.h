#pragma once

#include "xml/node.h"

#include <cstddef>
#include <vector>

namespace AdvXMLParser {

class Element;
class Text;

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
  // A trailing Text child that AddText would extend. No operation sets it, which is why every AddText makes a
  // new child; readers of saved events rely on the texts standing apart in the tree and joined in the file.
  Text* lastText_ = nullptr;
};

}  // namespace AdvXMLParser
