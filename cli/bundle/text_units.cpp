#include "bundle/text_units.h"

#include "bundle/folding.h"
#include "console/utf8.h"

#include <array>
#include <optional>
#include <utility>

namespace varnel::tool {
namespace {

constexpr std::size_t kMostDecodings = 3;
constexpr char32_t kLargestCode = 0x10FFFF;

bool IsSurrogate(char32_t code) {
  return code >= 0xD800 && code <= 0xDFFF;
}

std::optional<unsigned> DigitOf(char32_t code, unsigned base) {
  const unsigned digit = code >= '0' && code <= '9'   ? static_cast<unsigned>(code - '0')
                         : code >= 'a' && code <= 'f' ? static_cast<unsigned>(code - 'a' + 10)
                         : code >= 'A' && code <= 'F' ? static_cast<unsigned>(code - 'A' + 10)
                                                      : 99;
  return digit < base ? std::optional(digit) : std::nullopt;
}

// Decodes the escapes of a text once.
class EscapeReader {
 public:
  explicit EscapeReader(const Units& text) : text_(text) {}

  Units Read() {
    decoded_.reserve(text_.size());
    while (at_ < text_.size())
      if (!Reference() && !Bytes() && !Backslash()) decoded_.push_back(text_[at_++]);
    return std::move(decoded_);
  }

 private:
  // A number that is written in the text.
  struct Written {
    char32_t value = 0;
    std::size_t length = 0;  // in units, with its marks
  };

  bool Sees(std::size_t at, std::u32string_view mark) const {
    for (std::size_t i = 0; i < mark.size(); ++i)
      if (at + i >= text_.size() || text_[at + i].code != mark[i]) return false;
    return true;
  }
  // Reads from `least` to `most` digits.
  std::optional<Written> Number(std::size_t at, unsigned base, std::size_t least, std::size_t most) const {
    Written number;
    while (number.length < most && at + number.length < text_.size()) {
      const auto digit = DigitOf(text_[at + number.length].code, base);
      if (!digit) break;
      number.value = number.value * base + *digit;
      ++number.length;
      if (number.value > kLargestCode) return std::nullopt;
    }
    return number.length >= least ? std::optional(number) : std::nullopt;
  }
  // The same behind an opening mark, and with a closing one.
  std::optional<Written> Marked(std::u32string_view open, unsigned base, std::size_t least, std::size_t most,
                                std::u32string_view close = {}) const {
    if (!Sees(at_, open)) return std::nullopt;
    auto number = Number(at_ + open.size(), base, least, most);
    if (!number || !Sees(at_ + open.size() + number->length, close)) return std::nullopt;
    number->length += open.size() + close.size();
    return number;
  }
  // Appends a character that is written with the next units.
  void Take(char32_t code, std::size_t length) {
    const std::uint32_t end = text_[at_ + length - 1].end;
    // The first half of a pair waits for the second.
    if (code >= 0xDC00 && code <= 0xDFFF && !decoded_.empty() && decoded_.back().code >= 0xD800 &&
        decoded_.back().code < 0xDC00 && decoded_.back().end == text_[at_].begin) {
      decoded_.back().code = 0x10000 + ((decoded_.back().code - 0xD800) << 10) + (code - 0xDC00);
      decoded_.back().end = end;
    } else {
      decoded_.push_back({code, text_[at_].begin, end});
    }
    at_ += length;
  }

  bool Reference() {
    if (text_[at_].code != '&') return false;
    constexpr std::size_t kMostDigits = 9;
    auto number = Marked(U"&#x", 16, 1, kMostDigits, U";");
    if (!number) number = Marked(U"&#X", 16, 1, kMostDigits, U";");
    if (!number) number = Marked(U"&#", 10, 1, kMostDigits, U";");
    constexpr std::pair<std::u32string_view, char32_t> kEntities[] = {{U"&amp;", '&'},   {U"&lt;", '<'},
                                                                      {U"&gt;", '>'},    {U"&quot;", '"'},
                                                                      {U"&apos;", '\''}, {U"&nbsp;", ' '}};
    for (const auto& [name, code] : kEntities)
      if (!number && Sees(at_, name)) number = {code, name.size()};
    if (number) Take(number->value, number->length);
    return number.has_value();
  }
  std::optional<Written> Byte() const {
    const auto byte = Marked(U"%", 16, 2, 2);
    return byte ? byte : Marked(U"\\x", 16, 2, 2);
  }
  // Reads a run of escaped bytes, which are UTF-8 or Latin-1.
  bool Bytes() {
    if (at_ == text_.size() || (text_[at_].code != '%' && text_[at_].code != '\\')) return false;
    const std::size_t start = at_;
    std::string bytes;
    std::vector<std::size_t> ends;  // the unit after each byte
    for (auto byte = Byte(); byte; byte = Byte()) {
      bytes += static_cast<char>(byte->value);
      at_ += byte->length;
      ends.push_back(at_);
    }
    at_ = start;
    if (bytes.empty()) return false;
    std::size_t byte = 0;
    for (const Unit& unit : ReadUnits(bytes)) {
      const std::size_t last = byte + (unit.end - unit.begin) - 1;
      Take(unit.code, ends[last] - at_);
      byte = last + 1;
    }
    return true;
  }
  bool Backslash() {
    if (at_ == text_.size() || (text_[at_].code != '\\' && text_[at_].code != '%')) return false;
    auto number = Marked(U"\\u", 16, 4, 4);
    if (!number) number = Marked(U"%u", 16, 4, 4);
    if (!number) number = Marked(U"\\u{", 16, 1, 6, U"}");
    if (!number) number = Marked(U"\\U", 16, 8, 8);
    for (const char32_t quoted : {U'"', U'\'', U'/'})
      if (!number && text_[at_].code == '\\' && at_ + 1 < text_.size() && text_[at_ + 1].code == quoted)
        number = {quoted, 2};
    if (number) Take(number->value, number->length);
    return number.has_value();
  }

  const Units& text_;
  std::size_t at_ = 0;
  Units decoded_;
};

}  // namespace

Units ReadUnits(std::string_view utf8) {
  Units units;
  units.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) {
    const Decoded next = DecodeUtf8(utf8.substr(at, 4));
    const char32_t code = next.isValid ? next.code : static_cast<unsigned char>(utf8[at]);
    const std::size_t length = next.isValid ? next.length : 1;
    units.push_back({code, static_cast<std::uint32_t>(at), static_cast<std::uint32_t>(at + length)});
    at += length;
  }
  return units;
}

std::vector<Units> ReadingsOf(std::string_view utf8) {
  std::vector<Units> readings = {ReadUnits(utf8)};
  while (readings.size() <= kMostDecodings) {
    Units decoded = EscapeReader(readings.back()).Read();
    if (decoded.size() == readings.back().size()) break;  // every escape is longer than its character
    readings.push_back(std::move(decoded));
  }
  return readings;
}

Units Folded(const Units& units) {
  Units folded;
  folded.reserve(units.size());
  for (const Unit& unit : units) {
    const auto code = Fold(unit.code);
    if (!code) continue;
    const bool isLineEnd = unit.code == '\n' || unit.code == '\r';
    if ((*code == ' ' || *code == '/') && !folded.empty() && folded.back().code == *code) {
      folded.back().end = unit.end;
      folded.back().isMore = folded.back().isMore || *code == '/' || isLineEnd;
    } else {
      folded.push_back({*code, unit.begin, unit.end, isLineEnd});
    }
  }
  return folded;
}

std::u32string TextOf(const Units& units) {
  std::u32string text;
  for (const Unit& unit : units) text += unit.code;
  return text;
}

std::string Utf8Of(std::u32string_view text) {
  std::string utf8;
  for (const char32_t code : text) AppendUtf8(utf8, IsSurrogate(code) ? 0xFFFD : code);
  return utf8;
}

}  // namespace varnel::tool
