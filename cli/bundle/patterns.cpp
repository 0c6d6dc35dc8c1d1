#include "bundle/patterns.h"

#include "bundle/folding.h"
#include "eventfile/event_forms.h"

#include <algorithm>
#include <string_view>

namespace varnel::tool {
namespace {

constexpr std::u32string_view kHexDigits = U"0123456789abcdef";

bool IsOneOf(char32_t code, std::u32string_view characters) {
  return characters.find(code) != characters.npos;
}
bool IsWordCharacter(char32_t code) {
  return KindOf(code) != CharacterKind::kOther;
}
bool IsMailCharacter(char32_t code) {
  return IsWordCharacter(code) || IsOneOf(code, U"._%+'-");
}
bool IsHostCharacter(char32_t code) {
  return IsWordCharacter(code) || IsOneOf(code, U"._-");
}
bool IsLineEnd(const Unit& unit) {
  return unit.code == ' ' && unit.isMore;
}

// Returns the four bytes of a dotted address, whose numbers may have leading zeros.
std::string Version4Bytes(std::string_view text) {
  std::string bytes;
  while (!text.empty() && bytes.size() < 4) {
    const std::string_view part = text.substr(0, text.find('.'));
    unsigned value = 0;
    for (const char digit : part) value = value * 10 + static_cast<unsigned>(digit - '0');
    if (part.empty() || part.size() > 3 || value > 255 || part.find_first_not_of("0123456789") != part.npos)
      return {};
    bytes += static_cast<char>(value);
    text.remove_prefix(std::min(part.size() + 1, text.size()));
  }
  return bytes.size() == 4 && text.empty() ? bytes : std::string();
}

// True for addresses of this machine to itself, of no machine and of all machines.
bool SaysNothing(const std::string& bytes) {
  constexpr std::string_view kLoopback("\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1", 16);
  return bytes == std::string_view("\x7F\0\0\1", 4) || bytes == kLoopback ||
         bytes == std::string(4, '\xFF') || bytes.find_first_not_of('\0') == bytes.npos;
}

class Finder {
 public:
  Finder(const Units& text, const std::function<void(Recognised)>& found) : text_(text), found_(found) {}

  void Find() {
    for (std::size_t at = 0; at < text_.size();) at = AddressesFrom(at);
    for (std::size_t at = 0; at < text_.size(); ++at) {
      HardwareAddress(at);
      if (text_[at].code == '@') Mail(at);
      if (text_[at].code == 's') Sid(at);
      if (text_[at].code == '/') SlashAt(at);
    }
  }

 private:
  char32_t At(std::size_t at) const { return at < text_.size() ? text_[at].code : 0; }
  bool IsWordBefore(std::size_t at) const { return at > 0 && IsWordCharacter(text_[at - 1].code); }
  bool IsWordAt(std::size_t at) const { return IsWordCharacter(At(at)); }
  bool EndsAt(std::size_t end, std::u32string_view mark) const {
    if (end < mark.size()) return false;
    return Sees(end - mark.size(), mark);
  }
  bool Sees(std::size_t at, std::u32string_view mark) const {
    for (std::size_t i = 0; i < mark.size(); ++i)
      if (At(at + i) != mark[i]) return false;
    return true;
  }
  std::string Text(std::size_t first, std::size_t end) const {
    std::u32string text;
    for (; first < end; ++first) text += text_[first].code;
    return Utf8Of(text);
  }
  // True for what ends a path: what no name may have on Windows, and a line's end. Blanks belong to the path.
  bool EndsPath(std::size_t at) const {
    return IsOneOf(At(at), U"\"<>|*?") || (At(at) == ':' && At(at + 1) == ' ') || IsLineEnd(text_[at]);
  }
  void Say(Form form, std::size_t first, std::size_t end, std::string value) const {
    found_({form, first, end, std::move(value)});
  }

  // Finds the IP addresses in the run of their characters that begins here, and returns its end.
  std::size_t AddressesFrom(std::size_t at) const {
    std::size_t end = at;
    while (IsOneOf(At(end), U"0123456789abcdef.:") && end < text_.size()) ++end;
    if (end == at) return at + 1;
    std::size_t last = end;
    while (last > at && (At(last - 1) == '.' || (At(last - 1) == ':' && !EndsAt(last, U"::")))) --last;
    std::size_t first = at;
    while (first < last && (At(first) == '.' || (At(first) == ':' && At(first + 1) != ':'))) ++first;
    if (!Address6(first, last))
      for (std::size_t part = first; part < last;) {
        std::size_t partEnd = part;
        while (partEnd < last && At(partEnd) != ':') ++partEnd;
        Address4(part, partEnd);
        part = partEnd + 1;
      }
    return end;
  }
  bool Address6(std::size_t first, std::size_t end) const {
    constexpr std::size_t kLongest = 45;
    if (end - first > kLongest || IsWordBefore(first) || IsWordAt(end)) return false;
    const std::string bytes = IpAddressBytes(Text(first, end));
    if (bytes.size() != 16) return false;
    if (!SaysNothing(bytes)) Say(Form::kIp, first, end, bytes);
    return true;
  }
  void Address4(std::size_t first, std::size_t end) const {
    constexpr std::size_t kLongest = 15;
    while (end > first && At(end - 1) == '.') --end;
    if (end - first > kLongest || IsWordBefore(first) || IsWordAt(end)) return;
    const std::string bytes = Version4Bytes(Text(first, end));
    if (!bytes.empty() && !SaysNothing(bytes)) Say(Form::kIp, first, end, bytes);
  }

  // Finds 01-23-45-67-89-ab, 01:23:45:67:89:ab and 0123.4567.89ab.
  void HardwareAddress(std::size_t at) const {
    if (!IsOneOf(At(at), kHexDigits) || IsWordBefore(at)) return;
    for (const auto& [group, separators] :
         {std::pair<std::size_t, std::u32string_view>(2, U":-"), {4, U"."}}) {
      const char32_t separator = At(at + group);
      std::string digits;
      std::size_t end = at;
      while (digits.size() < 12) {
        if (end > at && At(end++) != separator) break;
        std::size_t length = 0;
        while (length < group && IsOneOf(At(end + length), kHexDigits)) ++length;
        if (length < group) break;
        digits += Text(end, end + group);
        end += group;
      }
      if (digits.size() == 12 && IsOneOf(separator, separators) && !IsWordAt(end))
        Say(Form::kMac, at, end, digits);
    }
  }

  void Mail(std::size_t at) const {
    std::size_t first = at, end = at + 1;
    while (first > 0 && IsMailCharacter(text_[first - 1].code)) --first;
    while (end < text_.size() && (IsWordCharacter(At(end)) || IsOneOf(At(end), U".-"))) ++end;
    while (end > at + 1 && IsOneOf(At(end - 1), U".-")) --end;
    if (first < at && end > at + 1) Say(Form::kMail, first, end, Text(first, end));
  }

  void Sid(std::size_t at) const {
    constexpr std::u32string_view kDomain = U"s-1-5-21-";
    if (!Sees(at, kDomain) || IsWordBefore(at)) return;
    std::size_t end = at + kDomain.size();
    while (IsOneOf(At(end), U"0123456789-") && end < text_.size()) ++end;
    Say(Form::kSid, at, end, Text(at, end));
  }

  // A slash may end the name of the folder that has users' folders, or begin a network path.
  void SlashAt(std::size_t at) const {
    for (const std::u32string_view folder : {U"/users", U"/home", U"/documents and settings", U"/docume~1"})
      if (EndsAt(at, folder)) return UserPath(at + 1);
    for (const std::u32string_view folder :
         {U"%userprofile%", U"%appdata%", U"%localappdata%", U"%temp%", U"%onedrive%", U"$home", U"~"})
      if (EndsAt(at, folder) && !IsWordBefore(at - folder.size())) return PathRest(at + 1);
    if (text_[at].isMore && !IsWordBefore(at) && (at == 0 || text_[at - 1].code != ':')) {
      std::size_t end = at + 1;
      while (end < text_.size() && IsHostCharacter(At(end))) ++end;
      if (end > at + 2 && (At(end) == '/' || end == text_.size()))
        Say(Form::kMachine, at + 1, end, Text(at + 1, end));
    }
  }
  void UserPath(std::size_t first) const {
    std::size_t end = first;
    while (end < text_.size() && text_[end].code != '/' && !EndsPath(end)) ++end;
    if (At(end) == '/') PathRest(end + 1);
    // Without a slash after it, the name may be the end of a sentence or of a text in quotes.
    while (At(end) != '/' && end > first && IsOneOf(At(end - 1), U" '.,;:)]}")) --end;
    if (end > first) Say(Form::kUser, first, end, Text(first, end));
  }
  // The rest of a path may have further paths in it; only the first is searched to its end.
  void PathRest(std::size_t first) const {
    if (first < searched_) return;
    std::size_t end = first;
    while (end < text_.size() && !EndsPath(end)) ++end;
    searched_ = end;
    if (end > first) Say(Form::kPath, first, end, Text(first, end));
  }

  const Units& text_;
  const std::function<void(Recognised)>& found_;
  mutable std::size_t searched_ = 0;
};

}  // namespace

void FindPatterns(const Units& folded, const std::function<void(Recognised)>& found) {
  Finder(folded, found).Find();
}

}  // namespace varnel::tool
