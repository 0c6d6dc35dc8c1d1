#include "xml/names.h"

#include "xml/text_form.h"

#include <algorithm>
#include <stdexcept>

namespace AdvXMLParser {

const StoredName* NameTable::Store(std::wstring_view name) {
  if (name.size() > kLongestText) throw std::length_error("name");
  const std::size_t bytes = Utf8Length(name);
  constexpr std::size_t kMarkup = 3;  // "</" and ">"
  constexpr std::size_t kUnit = sizeof(wchar_t);
  auto* const stored = static_cast<StoredName*>(
      arena_.Allocate(sizeof(StoredName) + (name.size() + kMarkup) * kUnit + bytes + kMarkup));
  auto* const wide = reinterpret_cast<wchar_t*>(stored + 1);
  auto* const narrow = reinterpret_cast<char*>(wide + name.size() + kMarkup);
  wide[0] = L'<';
  wide[1] = L'/';
  std::copy(name.begin(), name.end(), wide + 2);
  wide[name.size() + 2] = L'>';
  narrow[0] = '<';
  narrow[1] = '/';
  *WriteUtf8(narrow + 2, name) = '>';
  return new (stored) StoredName{wide, narrow, static_cast<std::uint32_t>(name.size()),
                                 static_cast<std::uint32_t>(bytes), name.find(L'\0') != name.npos};
}

}  // namespace AdvXMLParser
