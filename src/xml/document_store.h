#pragma once

#include "xml/names.h"
#include "xml/text_form.h"

#include <cstddef>
#include <cstdint>

namespace AdvXMLParser {

// What all nodes of one document share: their memory, their names, and how long the document's compact markup
// is.
struct DocumentStore {
  struct Length {
    // A name is stored once and written often: the markup may be longer than any memory.
    std::uint64_t units = 0;  // as UTF-16
    std::uint64_t bytes = 0;  // as UTF-8
    bool hasZero = false;     // what is saved ends there

    // ASCII markup with a name in it that many times.
    void Add(std::size_t markup, const StoredName& name, std::size_t times) noexcept {
      units += markup + std::uint64_t{name.length} * times;
      bytes += markup + std::uint64_t{name.utf8Length} * times;
      hasZero |= name.hasZero;
    }
    void Add(const TextForm& text) noexcept {
      units += text.units;
      bytes += text.bytes;
      hasZero |= text.hasZero;
    }
    void Add(std::size_t ascii) noexcept {
      units += ascii;
      bytes += ascii;
    }
  };

  Arena arena;
  NameTable names{arena, this};
  Length length;
};

}  // namespace AdvXMLParser
