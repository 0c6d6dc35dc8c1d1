#include "eventfile/xml_cursor.h"

#include "eventfile/xml_characters.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

namespace varnel::tool {
namespace {

using Bytes = std::array<bool, 256>;

// ASCII characters that are literal in any content.
constexpr Bytes kPlain = [] {
  Bytes plain{};
  for (unsigned char byte = 0x20; byte < 0x80; ++byte)
    plain[byte] = std::string_view("<&'\"-?]").find(static_cast<char>(byte)) == std::string_view::npos;
  return plain;
}();
// ASCII characters that a name may have after its first.
constexpr Bytes kNameBytes = [] {
  Bytes name{};
  for (unsigned char byte = 0; byte < 0x80; ++byte) name[byte] = IsNameCharacter(byte);
  return name;
}();

bool Is(const Bytes& bytes, char byte) {
  return bytes[static_cast<unsigned char>(byte)];
}

}  // namespace

void XmlCursor::Refuse(std::size_t at, std::string why) const {
  throw XmlVerdict{FileState::kBroken, {at, std::move(why)}};
}

void XmlCursor::Unfinished() const {
  throw XmlVerdict{FileState::kUnfinished, {text_.size(), "not finished: the end is missing"}};
}

std::string XmlCursor::Quoted(std::string_view name) {
  constexpr std::size_t kLongest = 60;
  if (name.size() <= kLongest) return std::string(name);
  std::size_t end = kLongest;
  while (ContinuesUtf8(name[end])) --end;
  return std::string(name.substr(0, end)) + "...";
}

char XmlCursor::Peek() const {
  if (AtEnd()) Unfinished();
  return text_[at_];
}

Decoded XmlCursor::Next() const {
  if (AtEnd()) Unfinished();
  const Decoded next = DecodeUtf8(text_.substr(at_, 4));
  if (next.isCut) Unfinished();
  if (!next.isValid) Refuse(at_, "invalid UTF-8");
  return next;
}

bool XmlCursor::SkipAll(std::string_view mark) {
  const std::string_view rest = text_.substr(at_, mark.size());
  if (rest.size() < mark.size() && mark.starts_with(rest)) Unfinished();
  if (rest != mark) return false;
  at_ += mark.size();
  return true;
}

bool XmlCursor::OuterBlanks() {
  const std::size_t start = at_;
  while (!AtEnd() && IsXmlBlank(static_cast<unsigned char>(text_[at_]))) ++at_;
  return at_ > start;
}

bool XmlCursor::Blanks() {
  const bool areBlanks = OuterBlanks();
  if (AtEnd()) Unfinished();
  return areBlanks;
}

void XmlCursor::NamePart() {
  if (!IsNameStart(Next().code)) Refuse(at_, "a name that does not begin with a letter or '_'");
  for (Decoded next = Next(); IsNameCharacter(next.code); next = Next()) {
    at_ += next.length;
    SkipAsciiName();
  }
}

void XmlCursor::SkipAsciiName() {
  while (!AtEnd() && Is(kNameBytes, text_[at_])) ++at_;
}

char XmlCursor::Quote() {
  if (Peek() != '"' && Peek() != '\'') Refuse(at_, "a value without quotes");
  return text_[at_++];
}

void XmlCursor::Equals() {
  Blanks();
  if (!Skip("=")) Refuse(at_, "a name without a value: expected '='");
  Blanks();
}

void XmlCursor::Characters() {
  const Decoded next = Next();
  if (!IsXmlCharacter(next.code))
    Refuse(at_, next.code < 0x20 ? "a control character, which XML does not allow"
                                 : "a character that XML does not allow");
  at_ += next.length;
  while (!AtEnd() && Is(kPlain, text_[at_])) ++at_;
}

void XmlCursor::Replace(Content& content, std::size_t length, std::string_view text) {
  content.decoded += Since(content.from);
  content.decoded += text;
  at_ += length;
  content.from = at_;
}

void XmlCursor::LineEnd(Content& content, std::string_view end) {
  if (at_ + 1 == text_.size()) Unfinished();
  Replace(content, text_[at_ + 1] == '\n' ? 2 : 1, end);
}

void XmlCursor::Reference(Content& content) {
  const std::size_t start = at_++;
  if (Peek() == '#') ++at_;
  SkipAsciiName();
  const std::string_view name = Since(start + 1);
  if (name.empty() || Peek() != ';') Refuse(start, "'&' without a reference: write &amp;");
  at_ = start;
  std::string character;
  constexpr std::pair<std::string_view, char> kEntities[] = {
      {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
  for (const auto& [entity, meant] : kEntities)
    if (name == entity) character = meant;
  if (name.starts_with('#')) AppendUtf8(character, CharacterOfNumber(start, name.substr(1)));
  if (character.empty()) Refuse(start, "an undefined entity: &" + Quoted(name) + ";");
  Replace(content, name.size() + 2, character);
}

// Returns the character of the digits between "&#" and ';'.
char32_t XmlCursor::CharacterOfNumber(std::size_t start, std::string_view digits) const {
  const int base = digits.starts_with('x') ? 16 : 10;
  if (base == 16) digits.remove_prefix(1);
  std::uint32_t code = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), code, base);
  const bool isNumber = error == std::errc() && end == digits.data() + digits.size();
  if (!isNumber || !IsXmlCharacter(code) || code > 0x10FFFF || code >> 11 == 0x1B)
    Refuse(start, "a reference to a character that XML does not allow");
  return code;
}

void XmlCursor::Until(std::string_view mark, Content& content) {
  while (!Skip(mark)) {
    if (Sees('\r'))
      LineEnd(content, "\n");
    else if (mark == "-->" && Sees("--"))
      Refuse(at_, "'--' in a comment");
    else
      Characters();
  }
  at_ -= mark.size();
}

}  // namespace varnel::tool
