#include "eventfile/event_identifier.h"

#include "console/hex_text.h"
#include "console/sha256.h"
#include "console/utf8.h"

#include <string_view>

namespace varnel::tool {
namespace {

// Returns a GUID without its braces; an empty text for any other text.
std::string_view GuidIn(std::string_view text) {
  constexpr std::string_view kForm = "00000000-0000-0000-0000-000000000000";
  if (text.size() == kForm.size() + 2 && text.front() == '{' && text.back() == '}')
    text = text.substr(1, kForm.size());
  if (text.size() != kForm.size()) return {};
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDigit = std::string_view("0123456789abcdefABCDEF").find(text[i]) != text.npos;
    if (kForm[i] == '-' ? text[i] != '-' : !isDigit) return {};
  }
  return text;
}

// Returns a file name for identifiers. A byte that is not UTF-8 becomes "/" and two hexadecimal digits: no
// file name contains "/", so two names stay different, which U+FFFD would make the same.
std::string Identifying(std::string_view fileName) {
  std::string name;
  while (!fileName.empty()) {
    const Decoded next = DecodeUtf8(fileName);
    const std::string_view bytes = fileName.substr(0, next.length);
    name += next.isValid ? std::string(bytes) : "/" + HexText(bytes);
    fileName.remove_prefix(next.length);
  }
  return name;
}

}  // namespace

std::string DigestOf(const EventDocument& document) {
  Sha256 sum;
  sum.Add(document.root.File());
  return sum.Finish().substr(0, 16);
}

EventIdentifiers::EventIdentifiers(const EventDocument& document, JsonUse use) {
  const std::string_view guid = GuidIn(Facts(document.machine, kMachineFacts).Text(1));
  start_ = std::string(guid.empty() ? "-" : guid) + "/" + Identifying(document.FileName()) + "#";
  if (use == JsonUse::kData) end_ = "-" + (document.digest.empty() ? DigestOf(document) : document.digest);
}

std::string EventIdentifiers::Of(std::size_t place) const {
  return start_ + std::to_string(place) + end_;
}

}  // namespace varnel::tool
