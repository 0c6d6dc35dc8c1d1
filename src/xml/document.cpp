#include "xml/document.h"

#include "xml/markup_writer.h"

#include <limits>

namespace AdvXMLParser {
namespace {

constexpr std::wstring_view kName = L"#document";
constexpr StoredName kDocumentName{.name = kName.data(), .tags = "", .length = kName.size(), .utf8Length = 0};

}  // namespace

Document::Document() : NodeContainer(kDocumentNode, &kDocumentName, &NullElement), root_(&NullElement) {
  NeedBody(*this);
  length.bytes = LengthOf(kXmlDeclaration);
}

Document::Document(std::wstring_view rootName) : Document() {
  root_ = AddElement(rootName);
}

std::wstring Document::ToString(bool indented) const {
  std::wstring text;
  WriteContext context(indented, &text);
  Write(context);
  return text;
}

Utf8Text Document::ToUtf8() const {
  constexpr std::uint64_t kMostCounted = std::numeric_limits<std::int32_t>::max() - 1;
  if (length.needsConversion || length.bytes > kMostCounted) return {};
  const auto size = static_cast<std::size_t>(length.bytes);
  Utf8Text text{std::make_unique_for_overwrite<char[]>(size + Arena::kSlack), size};
  WriteCompactUtf8(*this, text.bytes.get());
  return text;
}

}  // namespace AdvXMLParser
