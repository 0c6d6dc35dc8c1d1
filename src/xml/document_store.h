#pragma once

#include "xml/names.h"
#include "xml/text_form.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>

namespace AdvXMLParser {

class Attribute;
class NodeContainer;

// What all nodes of one document share: their memory, their names, and how long the document's compact markup
// is.
struct DocumentStore {
  struct Length {
    // A name is stored once and written often: the markup may be longer than any memory.
    std::uint64_t bytes = 0;       // as UTF-8
    bool needsConversion = false;  // as in Written

    // ASCII markup with a name in it that many times.
    void Add(std::size_t markup, const StoredName& name, std::size_t times) noexcept {
      bytes += markup + std::uint64_t{name.utf8Length} * times;
      needsConversion |= name.needsConversion;
    }
  };
  // Attributes of elements that have many, by element and name. Ordered, not hashed: no choice of names makes
  // lookups slow.
  using AttributeIndex = std::map<std::pair<const NodeContainer*, std::wstring_view>, Attribute*>;

  Arena arena;
  NameTable names{arena};
  Length length;
  AttributeIndex attributes;
};

}  // namespace AdvXMLParser
