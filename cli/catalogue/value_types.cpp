#include "catalogue/value_types.h"

#include "eventfile/event_forms.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace varnel::tool::catalogue {
namespace {

bool IsAny(std::string_view) {
  return true;
}

// True for a text of `size` characters, all of them in `digits`.
bool HasDigits(std::string_view text, std::size_t size, std::string_view digits) {
  return text.size() == size && text.find_first_not_of(digits) == text.npos;
}

template <class Number>
bool IsShortest(std::string_view text) {
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && text == std::to_string(value);
}

// From -2^63 to 2^64 - 1, so that every integer type of C++ and .NET fits.
bool IsInteger(std::string_view text) {
  return IsShortest<std::int64_t>(text) || IsShortest<std::uint64_t>(text);
}

bool IsBoolean(std::string_view text) {
  return text == "true" || text == "false";
}

bool IsUtcTime(std::string_view text) {
  return text.ends_with('Z') && ParseTime(text.substr(0, text.size() - 1)).has_value();
}

bool IsGuid(std::string_view text) {
  constexpr std::string_view kForm = "{00000000-0000-0000-0000-000000000000}";
  if (text.size() != kForm.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i)
    if (kForm[i] == '0' ? !HasDigits(text.substr(i, 1), 1, "0123456789ABCDEF") : text[i] != kForm[i])
      return false;
  return true;
}

bool IsSha256(std::string_view text) {
  return HasDigits(text, 64, "0123456789abcdef");
}

// Calls one(part) for the parts between separators; false as soon as a call is.
template <class One>
bool EachPart(std::string_view text, char separator, One one) {
  for (;;) {
    const std::size_t end = std::min(text.find(separator), text.size());
    if (!one(text.substr(0, end))) return false;
    if (end == text.size()) return true;
    text.remove_prefix(end + 1);
  }
}

bool IsVersion4(std::string_view text) {
  int count = 0;
  return EachPart(text, '.',
                  [&](std::string_view part) { return ++count <= 4 && IsShortest<std::uint8_t>(part); }) &&
         count == 4;
}

// Returns the number of groups of a text like "fe80:0:1", 0 for an empty text and -1 for any other.
int CountGroups(std::string_view text) {
  int count = 0;
  const bool areGroups = EachPart(text, ':', [&](std::string_view part) {
    ++count;
    return !part.empty() && part.size() <= 4 && HasDigits(part, part.size(), "0123456789abcdef");
  });
  return text.empty() ? 0 : areGroups ? count : -1;
}

bool IsVersion6(std::string_view text) {
  const std::size_t gap = text.find("::");
  if (gap == text.npos) return CountGroups(text) == 8;
  const int before = CountGroups(text.substr(0, gap)), after = CountGroups(text.substr(gap + 2));
  return before >= 0 && after >= 0 && before + after <= 7;
}

bool IsIp(std::string_view text) {
  return IsVersion4(text) || IsVersion6(text);
}

constexpr std::string_view kTimePattern =
    "(0[1-9]|[1-9][0-9])[0-9]{2}-(0[1-9]|1[0-2])-(0[1-9]|[12][0-9]|3[01])"
    "T([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]Z";
constexpr std::string_view kIpPattern =
    "((25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])\\.){3}(25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])"
    "|([0-9a-f]{1,4}:){7}[0-9a-f]{1,4}"
    "|([0-9a-f]{1,4}:){1,7}:"
    "|([0-9a-f]{1,4}:){1,6}:[0-9a-f]{1,4}"
    "|([0-9a-f]{1,4}:){1,5}(:[0-9a-f]{1,4}){2}"
    "|([0-9a-f]{1,4}:){1,4}(:[0-9a-f]{1,4}){3}"
    "|([0-9a-f]{1,4}:){1,3}(:[0-9a-f]{1,4}){4}"
    "|([0-9a-f]{1,4}:){1,2}(:[0-9a-f]{1,4}){5}"
    "|[0-9a-f]{1,4}:(:[0-9a-f]{1,4}){6}"
    "|:(:[0-9a-f]{1,4}){1,7}"
    "|::";

constexpr std::array<BuiltInType, 8> kBuiltIn = {{
    {ValueKind::kText, "text", "any text", "", "a text", IsAny},
    {ValueKind::kInteger, "integer", "a whole number from -2^63 to 2^64-1 without leading zeros",
     "0|-?[1-9][0-9]{0,19}", "1", IsInteger},
    {ValueKind::kBoolean, "boolean", "true or false", "true|false", "true", IsBoolean},
    {ValueKind::kTime, "time", "a time in UTC like 2024-03-07T09:05:03Z", kTimePattern,
     "2024-03-07T09:05:03Z", IsUtcTime},
    {ValueKind::kGuid, "guid", "a GUID like {3F2504E0-4F89-41D3-9A0C-0305E82C3301}",
     "\\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\}", "{3F2504E0-4F89-41D3-9A0C-0305E82C3301}", IsGuid},
    {ValueKind::kSha256, "sha256", "64 lower-case hexadecimal digits", "[0-9a-f]{64}",
     "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08", IsSha256},
    {ValueKind::kIp, "ip", "an address like 192.0.2.7 or 2001:db8::7", kIpPattern, "192.0.2.7", IsIp},
    {ValueKind::kPath, "path", "a path; any text", "", "C:\\Users\\ann\\setup.exe", IsAny},
}};

}  // namespace

const BuiltInType* FindBuiltInType(std::string_view name) {
  const auto* const found = std::find_if(kBuiltIn.begin(), kBuiltIn.end(),
                                         [&](const BuiltInType& type) { return type.name == name; });
  return found == kBuiltIn.end() ? nullptr : found;
}

const BuiltInType& BuiltIn(ValueKind kind) {
  return kBuiltIn[static_cast<std::size_t>(kind)];
}

std::string BuiltInNames() {
  std::string names;
  for (const BuiltInType& type : kBuiltIn) names.append(names.empty() ? "" : ", ").append(type.name);
  return names;
}

std::string_view NameOf(const Catalogue& catalogue, ValueType type) {
  return type.kind == ValueKind::kOwn ? catalogue.types[type.own].name : BuiltIn(type.kind).name;
}

bool Fits(const Catalogue& catalogue, ValueType type, std::string_view text) {
  if (type.kind != ValueKind::kOwn) return BuiltIn(type.kind).fits(text);
  const std::vector<std::string>& values = catalogue.types[type.own].values;
  return std::find(values.begin(), values.end(), text) != values.end();
}

std::string FormOf(const Catalogue& catalogue, ValueType type) {
  if (type.kind != ValueKind::kOwn) return std::string(BuiltIn(type.kind).form);
  std::string form;
  for (const std::string& value : catalogue.types[type.own].values)
    form.append(form.empty() ? "one of: " : ", ").append(value);
  return form;
}

std::string_view ExampleOf(const Catalogue& catalogue, ValueType type, const std::string& example) {
  if (!example.empty()) return example;
  return type.kind == ValueKind::kOwn ? catalogue.types[type.own].values.front() : BuiltIn(type.kind).example;
}

}  // namespace varnel::tool::catalogue
