#include "xml_scan.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace varnel::tool {
namespace {

constexpr int kDeepest = 256;
constexpr std::size_t kMostNodes =
    2'000'000;  // elements and attributes: each takes far more memory than bytes
constexpr std::string_view kBlanks = " \t\r\n";

bool Continues(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

Place PlaceOf(std::string_view text, std::size_t offset) {
  Place place;
  for (const char byte : text.substr(0, offset)) {
    if (byte == '\n')
      place = {place.line + 1, 1};
    else if (!Continues(byte))
      place.column += static_cast<unsigned char>(byte) >= 0xF0 ? 2 : 1;
  }
  return place;
}

Scan Broken(std::string_view text, std::size_t offset, std::string why) {
  return {FileState::kBroken, {PlaceOf(text, offset), std::move(why)}};
}

Scan Unfinished(std::string_view text) {
  return {FileState::kUnfinished, {PlaceOf(text, text.size()), "not finished: the end is missing"}};
}

struct Character {
  std::size_t length;  // 0: no UTF-8
  bool cut = false;    // it could go on behind the end of the text
};

bool IsXmlCharacter(std::uint32_t code) {
  const bool isSurrogate = code >= 0xD800 && code < 0xE000;
  const bool isBlank = code < 0x20 && code != 0 && kBlanks.find(static_cast<char>(code)) != kBlanks.npos;
  return (code >= 0x20 || isBlank) && !isSurrogate && code != 0xFFFE && code != 0xFFFF && code <= 0x10FFFF;
}

// The character at the start of a text that begins with no ASCII.
Character Decode(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return {0};
  std::uint32_t code = first & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if (i == text.size()) return {0, true};
    if (!Continues(text[i])) return {0};
    code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kLeast[length] || !IsXmlCharacter(code)) return {0};
  return {length};
}

Scan CheckCharacters(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
      if (!IsXmlCharacter(byte)) return Broken(text, at, "a control character, which XML cannot hold");
      ++at;
      continue;
    }
    const Character character = Decode(text.substr(at));
    if (character.cut) return Unfinished(text);
    if (character.length == 0) return Broken(text, at, "no UTF-8, or a character that XML cannot hold");
    at += character.length;
  }
  return {};
}

// What begins at a '<'.
struct Markup {
  std::size_t end;  // behind it; npos when the text ends before
  int step = 0;     // 1: goes into an element, -1: comes out of one
  std::size_t nodes = 0;
  bool isGlued = false;  // an attribute begins without a blank before it
};

std::size_t Behind(std::string_view text, std::string_view mark, std::size_t from) {
  const std::size_t found = text.find(mark, from);
  return found == text.npos ? found : found + mark.size();
}

Markup StartTag(std::string_view text, std::size_t at) {
  Markup tag{text.npos, 1, 1};
  while ((at = text.find_first_of("\"'>", at)) != text.npos) {
    if (text[at] == '>') {
      tag.end = at + 1;
      if (text[at - 1] == '/') tag.step = 0;
      break;
    }
    ++tag.nodes;
    at = Behind(text, text.substr(at, 1), at + 1);
    if (at >= text.size()) break;
    tag.isGlued =
        tag.isGlued || (kBlanks.find(text[at]) == kBlanks.npos && text[at] != '/' && text[at] != '>');
  }
  return tag;
}

Markup MarkupAt(std::string_view text, std::size_t at) {
  const std::string_view rest = text.substr(at);
  if (rest.starts_with("<!--")) return {Behind(text, "-->", at + 4)};
  if (rest.starts_with("<![CDATA[")) return {Behind(text, "]]>", at + 9)};
  if (rest.starts_with("<?")) return {Behind(text, "?>", at + 2)};
  if (rest.starts_with("</")) return {Behind(text, ">", at + 2), -1};
  return StartTag(text, at);
}

// What stands between '&' and ';'.
bool IsReference(std::string_view name) {
  constexpr std::string_view kEntities[] = {"lt", "gt", "amp", "quot", "apos"};
  if (!name.starts_with('#'))
    return std::find(std::begin(kEntities), std::end(kEntities), name) != std::end(kEntities);
  const int base = name.starts_with("#x") ? 16 : 10;
  name.remove_prefix(base == 16 ? 2 : 1);
  std::uint32_t code = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), code, base);
  return error == std::errc() && end == name.data() + name.size() && IsXmlCharacter(code);
}

// Where a part of the text has a reference to something that is not there; npos when it has none.
std::size_t FindBadReference(std::string_view text, std::size_t from, std::size_t end) {
  for (std::size_t at = from; (at = text.substr(0, end).find('&', at)) != text.npos; ++at) {
    const std::size_t semicolon = text.substr(0, end).find(';', at);
    if (semicolon == text.npos || !IsReference(text.substr(at + 1, semicolon - at - 1))) return at;
  }
  return text.npos;
}

bool IsDeclaration(std::string_view rest) {
  constexpr std::string_view kAllowed[] = {"<!--", "<![CDATA["};
  return rest.starts_with("<!") && std::none_of(std::begin(kAllowed), std::end(kAllowed), [rest](auto start) {
           return rest.starts_with(start) || start.starts_with(rest);
         });
}

Scan CheckStructure(std::string_view text) {
  int depth = 0;
  std::size_t nodes = 0;
  std::size_t behind = 0;  // the markup before
  for (std::size_t at = 0; (at = text.find('<', at)) != text.npos; at = behind) {
    if (IsDeclaration(text.substr(at))) return Broken(text, at, "a document type; event documents have none");
    const Markup markup = MarkupAt(text, at);
    if (markup.end == text.npos) return Unfinished(text);
    depth += markup.step;
    nodes += markup.nodes;
    if (depth > kDeepest)
      return Broken(text, at, "elements more than " + std::to_string(kDeepest) + " deep in each other");
    if (nodes > kMostNodes)
      return Broken(text, at, "more than " + std::to_string(kMostNodes) + " elements and attributes");
    if (markup.isGlued) return Broken(text, at, "no blank between two attributes");
    const std::size_t bad = FindBadReference(text, behind, markup.nodes > 0 ? markup.end : at);
    if (bad != text.npos) return Broken(text, bad, "a reference to no character that XML has");
    behind = markup.end;
  }
  return depth > 0 || nodes == 0 ? Unfinished(text) : Scan();
}

}  // namespace

Scan ScanXml(std::string_view utf8) {
  const std::size_t start = utf8.find_first_not_of(kBlanks);
  if (start != utf8.npos && utf8[start] != '<') return Broken(utf8, start, "not XML");
  const Scan characters = CheckCharacters(utf8);
  return characters.state == FileState::kWhole ? CheckStructure(utf8) : characters;
}

}  // namespace varnel::tool
