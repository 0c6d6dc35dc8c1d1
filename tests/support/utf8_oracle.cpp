#include "support/utf8_oracle.h"

#include <cstdint>

namespace varnel::test {
namespace {

bool IsHigh(std::uint32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLow(std::uint32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

std::size_t LengthOf(std::uint32_t codePoint) {
  return codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : codePoint < 0x10000 ? 3 : 4;
}

void AppendUtf8(std::string& out, std::uint32_t codePoint) {
  constexpr unsigned kLead[] = {0, 0, 0xC0, 0xE0, 0xF0};
  const std::size_t length = LengthOf(codePoint);
  out += static_cast<char>(kLead[length] | codePoint >> 6 * (length - 1));
  for (std::size_t left = length - 1; left-- > 0;)
    out += static_cast<char>(0x80 | (codePoint >> 6 * left & 0x3F));
}

// Bytes that follow a lead byte, or -1 for a byte that cannot lead.
int Followers(unsigned char lead) {
  if (lead < 0x80) return 0;
  if (lead < 0xC0 || lead >= 0xF8) return -1;
  return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

}  // namespace

std::wstring Escaped(std::wstring_view text) {
  std::wstring out;
  for (const wchar_t unit : text) {
    const std::wstring_view special = L"<>&'\"";
    const wchar_t* const entities[] = {L"&lt;", L"&gt;", L"&amp;", L"&apos;", L"&quot;"};
    const auto which = special.find(unit);
    if (which == special.npos)
      out += unit;
    else
      out += entities[which];
  }
  return out;
}

std::string Utf8Of(std::wstring_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::uint32_t unit = text[at];
    const std::uint32_t next = at + 1 < text.size() ? text[at + 1] : 0;
    if (IsHigh(unit) && IsLow(next)) {
      AppendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
      ++at;
    } else {
      AppendUtf8(out, IsHigh(unit) || IsLow(unit) ? 0xFFFD : unit);
    }
  }
  return out;
}

bool IsStrictUtf8(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[at++]);
    const int followers = Followers(lead);
    if (followers < 0 || bytes.size() - at < static_cast<std::size_t>(followers)) return false;
    std::uint32_t codePoint = followers == 0 ? lead : lead & (0x3Fu >> followers);
    for (int left = followers; left > 0; --left, ++at) {
      const auto byte = static_cast<unsigned char>(bytes[at]);
      if ((byte & 0xC0) != 0x80) return false;
      codePoint = codePoint << 6 | (byte & 0x3F);
    }
    if (LengthOf(codePoint) != static_cast<std::size_t>(followers) + 1) return false;
    if (IsHigh(codePoint) || IsLow(codePoint) || codePoint > 0x10FFFF) return false;
  }
  return true;
}

}  // namespace varnel::test
