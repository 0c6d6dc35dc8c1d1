#include "bundle/encoded_text.h"

#include "console/utf8.h"

namespace varnel::tool {
namespace {

constexpr std::size_t kShortest = 8;
constexpr int kNone = -1;

int Base64Digit(char32_t code) {
  if (code >= 'A' && code <= 'Z') return static_cast<int>(code - 'A');
  if (code >= 'a' && code <= 'z') return static_cast<int>(code - 'a' + 26);
  if (code >= '0' && code <= '9') return static_cast<int>(code - '0' + 52);
  if (code == '+' || code == '-') return 62;
  return code == '/' || code == '_' ? 63 : kNone;
}

int HexDigit(char32_t code) {
  if (code >= '0' && code <= '9') return static_cast<int>(code - '0');
  if (code >= 'a' && code <= 'f') return static_cast<int>(code - 'a' + 10);
  return code >= 'A' && code <= 'F' ? static_cast<int>(code - 'A' + 10) : kNone;
}

// Returns the whole bytes of digits of `bits` bits.
std::string Joined(const Units& text, std::size_t first, std::size_t end, int (*digitOf)(char32_t),
                   int bits) {
  std::string bytes;
  unsigned held = 0;
  int count = 0;
  for (; first < end; ++first) {
    held = held << bits | static_cast<unsigned>(digitOf(text[first].code));
    count += bits;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(held >> count & 0xFF);
  }
  return bytes;
}

void FindRuns(const Units& text, int (*digitOf)(char32_t), int bits,
              const std::function<void(const EncodedText&)>& found) {
  const std::size_t starts = bits == 6 ? 4 : 2;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::size_t first = at;
    while (at < text.size() && digitOf(text[at].code) != kNone) ++at;
    if (at - first < kShortest) continue;
    std::size_t end = at;
    while (bits == 6 && end < text.size() && text[end].code == '=') ++end;
    for (std::size_t start = 0; start < starts; ++start)
      found({first, end, Joined(text, first + start, at, digitOf, bits)});
  }
}

}  // namespace

void FindEncoded(const Units& text, const std::function<void(const EncodedText&)>& found) {
  FindRuns(text, Base64Digit, 6, found);
  FindRuns(text, HexDigit, 4, found);
}

std::string FromUtf16(std::string_view bytes, bool isBigEndian) {
  std::string text;
  char32_t high = 0;
  const auto drop = [&] {
    if (high != 0) AppendUtf8(text, 0xFFFD);
    high = 0;
  };
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto one = static_cast<unsigned char>(bytes[i]), other = static_cast<unsigned char>(bytes[i + 1]);
    const char32_t unit = isBigEndian ? char32_t{one} << 8 | other : char32_t{other} << 8 | one;
    if (unit >= 0xDC00 && unit < 0xE000 && high != 0) {
      AppendUtf8(text, 0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
      high = 0;
      continue;
    }
    drop();
    if (unit >= 0xD800 && unit < 0xDC00)
      high = unit;
    else
      AppendUtf8(text, unit >= 0xDC00 && unit < 0xE000 ? 0xFFFD : unit);
  }
  drop();
  return text;
}

bool IsPlainText(std::string_view bytes) {
  while (!bytes.empty()) {
    const Decoded next = DecodeUtf8(bytes.substr(0, 4));
    const bool isControl =
        next.code < 0x20 ? next.code != '\t' && next.code != '\n' && next.code != '\r' : next.code == 0x7F;
    if (!next.isValid || isControl) return false;
    bytes.remove_prefix(next.length);
  }
  return true;
}

}  // namespace varnel::tool
