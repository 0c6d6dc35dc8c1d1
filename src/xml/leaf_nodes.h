#pragma once

#include "xml/node.h"

namespace AdvXMLParser {

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

}  // namespace AdvXMLParser
