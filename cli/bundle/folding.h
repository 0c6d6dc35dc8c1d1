#pragma once

#include <optional>

namespace varnel::tool {

// How texts are compared when values are searched: without regard to case, accents and invisible characters.

// Returns the character that stands for this one and its variants: a small letter without accents, '/' for
// both slashes, ' ' for every blank. Returns nothing for characters that the search ignores: zeros, invisible
// characters and combining marks. Covers Latin, Greek, Cyrillic, Armenian and full-width letters; other
// characters stand for themselves.
[[nodiscard]] std::optional<char32_t> Fold(char32_t code);

enum class CharacterKind { kOther, kDigit, kLetter };
// `folded` is a result of Fold. Every character above ASCII is a letter.
[[nodiscard]] CharacterKind KindOf(char32_t folded);

}  // namespace varnel::tool
