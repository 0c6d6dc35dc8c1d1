#pragma once

#include "xml/tree.h"

#include <cstdint>
#include <memory>

namespace AdvXMLParser {

// Bytes of a document, without a terminator.
struct Utf8Text {
  std::unique_ptr<char[]> bytes;
  std::size_t size = 0;
};

// A document owns its whole tree. Nodes are never taken out of a tree while the document lives. GetText joins
// the children's texts, makes every run of white space one space and trims the result.
class Document final : private DocumentStore, public NodeContainer {
 public:
  // A document whose only child is an empty root element of that name.
  explicit Document(std::wstring_view rootName);

  // The caller's to delete.
  Document* Clone() const;

  // The root element (owned by the document), or NullElement when there is none.
  Element* Root() const noexcept { return root_; }

  // The document's markup: on one line, or indented by two spaces a level with CR LF between lines.
  std::wstring ToString(bool indented) const;
  // The markup on one line as the system's conversion gives it for the whole text, in much less memory.
  // Nothing when only that conversion knows: when there are zeros or halves of surrogate pairs, or more bytes
  // than it counts.
  Utf8Text ToUtf8() const;

  std::wstring_view Version() const noexcept { return L"1.0"; }
  std::wstring_view Encoding() const noexcept { return L"UTF-8"; }
  // Informative only: the file writer is told its encoding by its caller.
  std::int32_t EncodingCode() const noexcept { return 1; }

 private:
  Document();

  Element* root_;
};

}  // namespace AdvXMLParser
