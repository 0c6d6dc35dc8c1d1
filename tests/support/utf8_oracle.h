#pragma once

#include <string>
#include <string_view>

namespace varnel::test {

// What a text must have become in an event file. Written from the format alone, without Windows and without
// the library, so that a fault of either shows.

// The text with < > & ' " as entities.
std::wstring Escaped(std::wstring_view text);
// The UTF-8 bytes, with U+FFFD for each surrogate that has no partner.
std::string Utf8Of(std::wstring_view text);
// Whether the bytes are UTF-8 without overlong forms, surrogates or numbers above U+10FFFF.
bool IsStrictUtf8(std::string_view bytes);

}  // namespace varnel::test
