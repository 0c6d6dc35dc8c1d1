#include "xml/null_nodes.h"

namespace AdvXMLParser {

Element NullElement(L"", &NullElement);
Attribute NullAttribute(L"", &NullElement);
CData NullCData(&NullElement, L"");
Comment NullComment(&NullElement, L"");
Pi NullPi(L"", &NullElement, L"");

bool IsNull(const Node* node) noexcept {
  return node == &NullElement || node == &NullAttribute || node == &NullCData || node == &NullComment ||
         node == &NullPi;
}

}  // namespace AdvXMLParser
