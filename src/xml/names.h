#pragma once

#include "xml/arena.h"

#include <cstdint>
#include <string_view>

namespace AdvXMLParser {

// A name as documents hold it: with the end tag around it, in both encodings, so that tags are copied whole.
struct StoredName {
  const wchar_t* endTag;  // "</name>"
  const char* endTagUtf8;
  std::uint32_t length;      // units of the name alone
  std::uint32_t utf8Length;  // bytes of the name alone
  bool hasZero = false;

  constexpr std::wstring_view View() const noexcept { return {endTag + 2, length}; }
};

// Keeps each name of a document once, as far as few enough are in use at a time: event after event has the
// same names.
class NameTable {
 public:
  explicit NameTable(Arena& arena) noexcept : arena_(arena) {}

  // Lives as long as the arena. Throws std::bad_alloc, or std::length_error for a name of two billion units.
  const StoredName* Intern(std::wstring_view name) {
    const StoredName*& place = places_[Hash(name)];
    if (!place || place->View() != name) place = Store(name);
    return place;
  }

 private:
  static constexpr std::size_t kPlaces = 32;

  static std::size_t Hash(std::wstring_view name) noexcept {
    if (name.empty()) return 0;
    return (name.size() * 5 + static_cast<std::size_t>(name.front()) * 3 +
            static_cast<std::size_t>(name.back())) %
           kPlaces;
  }
  const StoredName* Store(std::wstring_view name);

  Arena& arena_;
  const StoredName* places_[kPlaces] = {};
};

}  // namespace AdvXMLParser
