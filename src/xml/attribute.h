#pragma once

#include "xml/node_container.h"

namespace AdvXMLParser {

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

}  // namespace AdvXMLParser
