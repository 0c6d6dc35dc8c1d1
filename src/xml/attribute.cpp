#include "xml/attribute.h"

#include "xml/whitespace.h"
#include "xml/write_context.h"

namespace AdvXMLParser {

std::wstring Attribute::GetText() const {
  return std::wstring(Trim(JoinChildTexts()));
}

std::unique_ptr<Node> Attribute::Clone(NodeContainer* parent) const {
  auto copy = std::make_unique<Attribute>(Name(), parent);
  CloneChildrenInto(*copy);
  return copy;
}

void Attribute::Write(WriteContext& context) const {
  context.Append(Name());
  context.Append(L"=\"");
  NodeContainer::Write(context);
  context.Append(L"\"");
}

}  // namespace AdvXMLParser
