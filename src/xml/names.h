#pragma once

#include "xml/arena.h"
#include "xml/blocks.h"

#include <cstdint>
#include <string_view>

namespace AdvXMLParser {

struct DocumentStore;

// A name as a document holds it: with its tags, in both encodings, so that these are copied whole.
struct StoredName {
  const wchar_t* tags;       // "<name></name>"
  const char* tagsUtf8;      // the same
  std::uint32_t length;      // units of the name alone
  std::uint32_t utf8Length;  // bytes of the name alone
  bool hasZero = false;
  DocumentStore* store = nullptr;     // null for the names of null nodes, which belong to no document
  const StoredName* older = nullptr;  // in the same place of the table

  constexpr std::wstring_view View() const noexcept { return {tags + 1, length}; }
};

// Keeps each name of a document once, as far as few enough are in use at a time: event after event has the
// same names.
class NameTable {
 public:
  NameTable(Arena& arena, DocumentStore* store) noexcept : arena_(arena), store_(store) {}

  // Lives as long as the arena. Throws std::bad_alloc, also for one of more than kLongestText units.
  const StoredName* Intern(std::wstring_view name) {
    const StoredName*& place = places_[PlaceOf(name)];
    int tries = kTries;
    for (const StoredName* known = place; known && tries > 0; known = known->older, --tries)
      if (known->length == name.size() && AreEqual(known->tags + 1, name.data(), name.size())) return known;
    return place = Store(name, place);
  }

 private:
  static constexpr std::size_t kPlaces = 32;
  static constexpr int kTries = 4;  // many different names must not make each other slow

  static std::size_t PlaceOf(std::wstring_view name) noexcept {
    if (name.empty()) return 0;
    return (name.size() + static_cast<std::size_t>(name.front()) * 3 +
            static_cast<std::size_t>(name[name.size() / 2]) * 5 + static_cast<std::size_t>(name.back()) * 7) %
           kPlaces;
  }
  const StoredName* Store(std::wstring_view name, const StoredName* older);

  Arena& arena_;
  DocumentStore* const store_;
  const StoredName* places_[kPlaces] = {};
};

}  // namespace AdvXMLParser
