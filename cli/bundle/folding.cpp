#include "bundle/folding.h"

#include <string_view>

namespace varnel::tool {
namespace {

// The base letters of U+00C0 to U+017F; '*' for the two signs among them.
constexpr std::string_view kLatin =
    "aaaaaaaceeeeiiiidnooooo*ouuuuyts"
    "aaaaaaaceeeeiiiidnooooo*ouuuuyty"
    "aaaaaaccccccccddddeeeeeeeeeegggggggghhhhiiiiiiiiiiiijjkkkllllllllllnnnnnnnnnoooooooorrrrrrsssssssstttttt"
    "uuuuuuuuuuuuww"
    "yyyzzzzzzs";
constexpr char32_t kLatinFirst = 0xC0;
static_assert(kLatin.size() == 0x180 - kLatinFirst);

struct FoldRange {
  char32_t first, last;
  int shift;  // from a capital to its small letter
};
constexpr FoldRange kCapitals[] = {{'A', 'Z', 32},
                                   {0x391, 0x3A9, 32},
                                   {0x400, 0x40F, 80},
                                   {0x410, 0x42F, 32},
                                   {0x531, 0x556, 48},
                                   {0xFF21, 0xFF3A, 'a' - 0xFF21},
                                   {0xFF01, 0xFF5E, '!' - 0xFF01}};

struct Exchange {
  char32_t from, to;
};
// Accented letters of Greek and Cyrillic, and the final sigma.
constexpr Exchange kAccents[] = {{0x386, 0x3B1}, {0x388, 0x3B5}, {0x389, 0x3B7}, {0x38A, 0x3B9},
                                 {0x38C, 0x3BF}, {0x38E, 0x3C5}, {0x38F, 0x3C9}, {0x3AC, 0x3B1},
                                 {0x3AD, 0x3B5}, {0x3AE, 0x3B7}, {0x3AF, 0x3B9}, {0x3C2, 0x3C3},
                                 {0x3CC, 0x3BF}, {0x3CD, 0x3C5}, {0x3CE, 0x3C9}, {0x419, 0x438},
                                 {0x439, 0x438}, {0x401, 0x435}, {0x451, 0x435}};

bool IsBlankCharacter(char32_t code) {
  return code == ' ' || (code >= 9 && code <= 13) || code == 0x85 || code == 0xA0 ||
         (code >= 0x2000 && code <= 0x200A) || code == 0x2028 || code == 0x2029 || code == 0x202F ||
         code == 0x205F || code == 0x3000;
}

bool IsIgnored(char32_t code) {
  return code == 0 || code == 0xAD || (code >= 0x300 && code <= 0x36F) || code == 0x61C || code == 0x180E ||
         (code >= 0x200B && code <= 0x200F) || (code >= 0x202A && code <= 0x202E) ||
         (code >= 0x2060 && code <= 0x206F) || (code >= 0xFE00 && code <= 0xFE0F) || code == 0xFEFF;
}

}  // namespace

std::optional<char32_t> Fold(char32_t code) {
  if (IsIgnored(code)) return std::nullopt;
  if (IsBlankCharacter(code)) return U' ';
  if (code == '\\') return U'/';
  if (code >= kLatinFirst && code < 0x180) {
    const char base = kLatin[code - kLatinFirst];
    return base == '*' ? code : static_cast<char32_t>(base);
  }
  for (const auto& [from, to] : kAccents)
    if (code == from) return to;
  for (const auto& [first, last, shift] : kCapitals)
    if (code >= first && code <= last) return static_cast<char32_t>(static_cast<int>(code) + shift);
  // Latin Extended Additional has pairs of a capital and its small letter.
  return code >= 0x1E00 && code <= 0x1EFF ? code | 1 : code;
}

CharacterKind KindOf(char32_t folded) {
  if (folded >= '0' && folded <= '9') return CharacterKind::kDigit;
  return (folded >= 'a' && folded <= 'z') || folded >= 0x80 ? CharacterKind::kLetter : CharacterKind::kOther;
}

}  // namespace varnel::tool
