#pragma once

#include "xml/attribute.h"
#include "xml/node_container.h"

namespace AdvXMLParser {

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

}  // namespace AdvXMLParser
