#include "xml/names.h"

#include "xml/text_form.h"

#include <new>

namespace AdvXMLParser {
namespace {

// Puts "<name></name>" around the two copies of the name that stand there.
template <class Unit>
void PutTags(Unit* tags, std::size_t length) noexcept {
  Unit* const endTag = tags + length + 2;
  tags[0] = '<';
  tags[length + 1] = '>';
  endTag[0] = '<';
  endTag[1] = '/';
  endTag[length + 2] = '>';
}

}  // namespace

const StoredName* NameTable::Store(std::wstring_view name, const StoredName* older) {
  if (name.size() > kLongestText) throw std::bad_alloc();
  constexpr std::size_t kMarkup = LengthOf("<></>");
  const std::size_t units = name.size();
  auto* const stored =
      static_cast<StoredName*>(arena_.Allocate(sizeof(StoredName) + (2 * units + kMarkup) * sizeof(wchar_t)));
  auto* const wide = reinterpret_cast<wchar_t*>(stored + 1);
  CopyUnits(wide + 1, name.data(), units);
  CopyUnits(wide + units + 4, name.data(), units);
  PutTags(wide, units);

  const bool plain = FindNotPlain(name.data(), 0, units) == units;
  const std::size_t bytes = plain ? units : Utf8Length(name);
  auto* const narrow = static_cast<char*>(arena_.Allocate(2 * bytes + kMarkup));
  for (char* const copy : {narrow + 1, narrow + bytes + 4}) {
    if (plain)
      Narrow(copy, name.data(), units);
    else
      WriteUtf8(copy, name);
  }
  PutTags(narrow, bytes);
  return new (stored) StoredName{.tags = wide,
                                 .tagsUtf8 = narrow,
                                 .length = static_cast<std::uint32_t>(units),
                                 .utf8Length = static_cast<std::uint32_t>(bytes),
                                 .hasZero = !plain && name.find(L'\0') != name.npos,
                                 .store = store_,
                                 .older = older};
}

}  // namespace AdvXMLParser
