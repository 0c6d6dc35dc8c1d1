#include "eventfile/json_line.h"

#include "console/printable.h"
#include "console/utf8.h"

#include <cstdio>

namespace varnel::tool {
namespace {

// Appends a UTF-16 unit as \u1234.
void AppendUnit(std::string& json, char32_t unit) {
  char escaped[8];
  std::snprintf(escaped, sizeof(escaped), "\\u%04x", static_cast<unsigned>(unit));
  json += escaped;
}

void AppendCharacter(std::string& json, char32_t code, JsonUse use) {
  constexpr std::string_view kShort = "\"\\\b\f\n\r\t";
  const std::size_t place = code < 0x80 ? kShort.find(static_cast<char>(code)) : kShort.npos;
  if (place != kShort.npos) {
    json += {'\\', "\"\\bfnrt"[place]};
  } else if (code < 0x20 || code == 0x7F || (code == '<' && use == JsonUse::kPage)) {
    AppendUnit(json, code);
  } else if (code < 0x80) {
    json += static_cast<char>(code);
  } else if (code < 0x10000) {
    AppendUnit(json, code);
  } else {
    AppendUnit(json, 0xD7C0 + (code >> 10));
    AppendUnit(json, 0xDC00 + (code & 0x3FF));
  }
}

}  // namespace

void AppendJsonText(std::string& json, std::string_view utf8, JsonUse use) {
  const std::string printable = use == JsonUse::kPage ? Printable(utf8, LineEnds::kKeep) : std::string();
  if (use == JsonUse::kPage) utf8 = printable;
  json += '"';
  while (!utf8.empty()) {
    const Decoded next = DecodeUtf8(utf8);
    AppendCharacter(json, next.code, use);
    utf8.remove_prefix(next.length);
  }
  json += '"';
}

void JsonLine::Open(std::string_view name) {
  Name(name);
  json_ += '{';
}

bool JsonLine::Text(std::string_view name, std::string_view value) {
  if (!HasRoom(name.size() + value.size())) return false;
  const std::size_t start = json_.size();
  Name(name);
  AppendJsonText(json_, value, use_);
  return Keep(start);
}

bool JsonLine::Raw(std::string_view name, std::string_view value) {
  if (!HasRoom(name.size() + value.size())) return false;
  const std::size_t start = json_.size();
  Name(name);
  json_ += value;
  return Keep(start);
}

bool JsonLine::Keep(std::size_t start) {
  if (json_.size() <= limit_) return true;
  json_.resize(start);
  return false;
}

void JsonLine::Name(std::string_view name) {
  if (json_.back() != '{') json_ += ',';
  AppendJsonText(json_, name, use_);
  json_ += ':';
}

}  // namespace varnel::tool
