#pragma once

#include "xml/tree.h"

#include <cstdint>

namespace AdvXMLParser {

// A document owns its whole tree. Nodes are never taken out of a tree while the document lives.
class Document final : public NodeContainer {
 public:
  // A document whose only child is an empty root element of that name.
  explicit Document(std::wstring_view rootName);

  std::wstring GetValue() const override { return {}; }
  // The joined children with every run of white space made one space, trimmed.
  std::wstring GetText() const override;
  bool Is(int type) const noexcept override { return type == kDocumentNode; }
  std::unique_ptr<Node> Clone(NodeContainer* parent) const override;
  void Write(WriteContext& context) const override;

  // The root element (owned by the document), or NullElement when there is none.
  Element* Root() const noexcept { return root_; }

  // The document's markup: on one line, or indented by two spaces a level with CR LF between lines.
  std::wstring ToString(bool indented) const;

  const std::wstring& Version() const noexcept { return version_; }
  const std::wstring& Encoding() const noexcept { return encoding_; }
  // Informative only: the file writer is told its encoding by its caller.
  std::int32_t EncodingCode() const noexcept { return encodingCode_; }

 private:
  Document();

  std::wstring version_ = L"1.0";
  std::wstring encoding_ = L"UTF-8";
  std::int32_t encodingCode_ = 1;
  Element* root_;
};

}  // namespace AdvXMLParser
