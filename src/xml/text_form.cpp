#include "xml/text_form.h"

#include "base/characters.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace AdvXMLParser {
namespace {

using varnel::IsHighSurrogate;
using varnel::IsLowSurrogate;

constexpr std::wstring_view kWhitespace = L" \t\r\n";

// Exactly eight bytes, so that one 8-byte copy writes it.
struct Entity {
  char text[7] = {};
  std::uint8_t length = 0;  // 0 if the unit is written as itself

  constexpr std::string_view View() const noexcept { return {text, length}; }
};

constexpr std::array<Entity, 64> kEntities = [] {
  std::array<Entity, 64> entities{};
  entities[L'<'] = {"&lt;", 4};
  entities[L'>'] = {"&gt;", 4};
  entities[L'&'] = {"&amp;", 5};
  entities[L'\''] = {"&apos;", 6};
  entities[L'"'] = {"&quot;", 6};
  return entities;
}();

const Entity& EntityFor(wchar_t unit, Form form) noexcept {
  const auto code = static_cast<std::size_t>(unit);
  return kEntities[form == Form::kEscaped && code < kEntities.size() ? code : 0];
}

// Returns the character at text[at] and advances `at` past it. Half a surrogate pair counts as a character.
std::uint32_t NextCharacter(std::wstring_view text, std::size_t& at) noexcept {
  const auto unit = static_cast<std::uint32_t>(text[at++]);
  if (!IsHighSurrogate(unit) || at == text.size()) return unit;
  const auto low = static_cast<std::uint32_t>(text[at]);
  if (!IsLowSurrogate(low)) return unit;
  ++at;
  return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
}

std::size_t BytesOf(std::uint32_t character) noexcept {
  return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

char* WriteCharacter(char* to, std::uint32_t character) noexcept {
  if (character < 0x80) {
    *to++ = static_cast<char>(character);
    return to;
  }
  const std::size_t bytes = BytesOf(character);
  constexpr std::uint32_t kLead[] = {0, 0, 0xC0, 0xE0, 0xF0};
  std::uint32_t shift = 6 * static_cast<std::uint32_t>(bytes - 1);
  *to++ = static_cast<char>(kLead[bytes] | character >> shift);
  while (shift > 0) {
    shift -= 6;
    *to++ = static_cast<char>(0x80 | (character >> shift & 0x3F));
  }
  return to;
}

// Returns the character at utf8[at] and advances `at` past it. Reads the output of WriteCharacter only.
std::uint32_t ReadCharacter(std::string_view utf8, std::size_t& at) noexcept {
  const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(utf8[index]); };
  const std::uint32_t lead = byte(at);
  const std::size_t bytes = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  std::uint32_t character = bytes == 1 ? lead : lead & 0x7FU >> bytes;
  for (std::size_t i = 1; i < bytes; ++i) character = character << 6 | (byte(at + i) & 0x3F);
  at += bytes;
  return character;
}

wchar_t* WriteUnits(wchar_t* to, std::uint32_t character) noexcept {
  if (character >= 0x10000) {
    *to++ = static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10));
    character = 0xDC00 | (character & 0x3FF);
  }
  *to++ = static_cast<wchar_t>(character);
  return to;
}

// Returns the index of the first byte from `at` on that is not ASCII; the size if there is none.
std::size_t FindNotAscii(std::string_view utf8, std::size_t at) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  for (std::uint64_t word; at + sizeof(word) <= utf8.size(); at += sizeof(word)) {
    std::memcpy(&word, utf8.data() + at, sizeof(word));
    if ((word & kHighBits) != 0) break;
  }
  while (at < utf8.size() && static_cast<unsigned char>(utf8[at]) < 0x80) ++at;
  return at;
}

}  // namespace

std::size_t LengthOf(std::wstring_view text, Form form) noexcept {
  std::size_t bytes = text.size();
  for (std::size_t at = 0; (at = FindNotPlain(text.data(), at, text.size())) < text.size();) {
    const std::size_t start = at;
    const std::uint32_t character = NextCharacter(text, at);
    const std::size_t entity = EntityFor(text[start], form).length;
    bytes += (entity == 0 ? BytesOf(character) : entity) - (at - start);
  }
  return bytes;
}

Written WriteUtf8(char* to, std::wstring_view text, Form form) noexcept {
  bool needsConversion = false;
  for (std::size_t at = 0;;) {
    const std::size_t plain = NarrowPlain(to, text.data() + at, text.size() - at);
    to += plain;
    at += plain;
    if (at == text.size()) return {to, needsConversion};
    do {
      if (const Entity& entity = EntityFor(text[at], form); entity.length != 0) {
        std::memcpy(to, entity.text, sizeof(Entity));
        to += entity.length;
        ++at;
      } else {
        const std::uint32_t character = NextCharacter(text, at);
        needsConversion |= character == 0 || character >> 11 == 0xD800 >> 11;
        to = WriteCharacter(to, character);
      }
    } while (at < text.size() && !IsPlain(text[at]));
  }
}

wchar_t* WriteUtf16(wchar_t* to, std::string_view utf8) noexcept {
  for (std::size_t at = 0; at < utf8.size();) {
    const std::size_t asciiEnd = FindNotAscii(utf8, at);
    to = Widen(to, utf8.data() + at, asciiEnd - at);
    for (at = asciiEnd; at < utf8.size() && static_cast<unsigned char>(utf8[at]) >= 0x80;)
      to = WriteUnits(to, ReadCharacter(utf8, at));
  }
  return to;
}

std::wstring TextFrom(std::string_view utf8, Form form) {
  std::wstring text;
  text.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) {
    if (form == Form::kEscaped && utf8[at] == '&') {
      const auto* const entity = std::find_if(kEntities.begin(), kEntities.end(), [&](const Entity& known) {
        return known.length != 0 && utf8.substr(at).starts_with(known.View());
      });
      text += static_cast<wchar_t>(entity - kEntities.begin());
      at += entity->length;
    } else {
      wchar_t units[2];
      text.append(units, WriteUnits(units, ReadCharacter(utf8, at)));
    }
  }
  return text;
}

std::wstring_view Trim(std::wstring_view text) noexcept {
  const auto first = text.find_first_not_of(kWhitespace);
  if (first == std::wstring_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhitespace) - first + 1);
}

std::wstring CollapseWhitespace(std::wstring_view text) {
  std::wstring collapsed;
  collapsed.reserve(text.size());
  bool inRun = false;
  for (const wchar_t unit : text) {
    const bool isWhitespace = kWhitespace.find(unit) != std::wstring_view::npos;
    if (!isWhitespace)
      collapsed += unit;
    else if (!inRun)
      collapsed += L' ';
    inRun = isWhitespace;
  }
  return collapsed;
}

}  // namespace AdvXMLParser
