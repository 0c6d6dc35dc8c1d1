#pragma once

#include "xml/attribute.h"
#include "xml/element.h"
#include "xml/leaf_nodes.h"

namespace AdvXMLParser {

// Stand-ins for a missing node, returned instead of null pointers; they live as long as the library is
// loaded. Test what a lookup or an addition gave with IsNull before using it. Adding an element or attribute
// to one of them gives a null node again.
extern Element NullElement;
extern Attribute NullAttribute;
extern CData NullCData;
extern Comment NullComment;
extern Pi NullPi;

}  // namespace AdvXMLParser
