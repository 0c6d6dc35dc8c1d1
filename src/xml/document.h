#pragma once

#include "xml/node.h"

#include <cstdint>
#include <memory>

namespace AdvXMLParser {

// The bytes of a document, without a terminator.
struct Utf8Text {
  std::unique_ptr<char[]> bytes;
  std::size_t size = 0;
};

// A document, which owns its tree. Nodes are not removed while the document lives. GetText joins the
// children's texts, replaces each run of white space by one space and trims the result.
class Document final : private DocumentStore, public NodeContainer {
 public:
  // Creates a document whose only child is an empty root element with this name.
  explicit Document(std::wstring_view rootName);

  // Returns a deep copy, which the caller deletes.
  // Not used by this DLL: part of the XML library.
  Document* Clone() const;

  // Returns the root element, or NullElement if there is none.
  Element* Root() const noexcept { return root_; }

  // Returns the markup, which begins with the XML declaration, on one line; or indented by two spaces a
  // level, with CR LF between lines.
  // The indented form is not used by this DLL: part of the XML library.
  std::wstring ToString(bool indented) const;
  // Returns ToString(false) in UTF-8, equal to Windows' conversion of the whole text but with much less
  // memory. Returns null bytes if only that conversion can tell the result: for zeros, for halves of
  // surrogate pairs, and for more bytes than an int can count.
  Utf8Text ToUtf8() const;

  // Not used by this DLL: part of the XML library. Informative only: callers pass an encoding to the file
  // writer.
  std::wstring_view Version() const noexcept { return L"1.0"; }
  std::wstring_view Encoding() const noexcept { return L"UTF-8"; }
  std::int32_t EncodingCode() const noexcept { return 1; }

 private:
  Document();

  Element* root_;
};

}  // namespace AdvXMLParser
