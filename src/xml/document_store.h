#pragma once

#include "xml/arena.h"
#include "xml/text_form.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>

namespace AdvXMLParser {

class Attribute;
class NodeContainer;

// An interned name, together with its tags as they are written.
struct StoredName {
  const wchar_t* name;
  const char* tags;                   // "<name></name>" in UTF-8, followed by Arena::kSlack readable bytes
  std::uint32_t length;               // of the name, in UTF-16 units
  std::uint32_t utf8Length;           // of the name, in bytes
  bool needsConversion = false;       // of the name, see Written
  const StoredName* older = nullptr;  // the next name in the bucket

  constexpr std::wstring_view View() const noexcept { return {name, length}; }
  bool Is(std::wstring_view other) const noexcept {
    return length == other.size() && AreEqual(name, other.data(), length);
  }
};

// Interns names, because events repeat them. A bucket gives up after four tries, so a document with very many
// names may store one twice.
class NameTable {
 public:
  static constexpr std::size_t kBuckets = 64;
  using Buckets = std::array<const StoredName*, kBuckets>;

  explicit NameTable(Arena& arena) noexcept;

  // Returns the interned name, which lives as long as the arena. Throws std::bad_alloc, also for more than
  // kLongestText units.
  const StoredName* Intern(std::wstring_view name) {
    const StoredName*& bucket = buckets_[BucketOf(name)];
    int tries = kTries;
    for (const StoredName* known = bucket; known && tries > 0; known = known->older, --tries)
      if (known->Is(name)) return known;
    return bucket = Store(name, bucket);
  }

  static constexpr std::size_t BucketOf(std::wstring_view name) noexcept {
    if (name.empty()) return 0;
    return (name.size() * 3 + static_cast<std::size_t>(name.front()) * 3 +
            static_cast<std::size_t>(name[name.size() / 2]) * 5 + static_cast<std::size_t>(name.back()) * 5) %
           kBuckets;
  }

 private:
  static constexpr int kTries = 4;

  const StoredName* Store(std::wstring_view name, const StoredName* older);

  Arena& arena_;
  Buckets buckets_;
};

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
  // The attributes of elements with more than 16 attributes, by element and name. Null for an attribute that
  // could not be added. Ordered, not hashed, so that no choice of names makes lookups slow.
  using AttributeIndex = std::map<std::pair<const NodeContainer*, std::wstring_view>, Attribute*>;

  Arena arena;
  NameTable names{arena};
  Length length;
  AttributeIndex attributes;
};

}  // namespace AdvXMLParser
