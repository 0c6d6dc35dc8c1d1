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

// The state that all nodes of one document share: memory, names, and the length of the compact markup.
struct DocumentStore {
  struct Length {
    // 64 bits, because a name is stored once and written often: the markup may be longer than any memory.
    std::uint64_t bytes = 0;       // as UTF-8
    bool needsConversion = false;  // see Written

    // Adds the length of ASCII markup that has `name` in it `times` times.
    void Add(std::size_t markup, const StoredName& name, std::size_t times) noexcept {
      bytes += markup + std::uint64_t{name.utf8Length} * times;
      needsConversion |= name.needsConversion;
    }
  };
  // The attributes of elements with many attributes, by element and name. Ordered, not hashed, so that no
  // choice of names makes lookups slow.
  using AttributeIndex = std::map<std::pair<const NodeContainer*, std::wstring_view>, Attribute*>;

  Arena arena;
  NameTable names{arena};
  Length length;
  AttributeIndex attributes;
};

}  // namespace AdvXMLParser
