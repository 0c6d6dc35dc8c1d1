#include "xml/document_store.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace AdvXMLParser {
namespace {

constexpr std::size_t kMarkup = LengthOf("<></>");

// Puts "<", ">", "</" and ">" around the two copies of the name.
constexpr void PutTags(char* tags, std::size_t length) noexcept {
  char* const endTag = tags + length + LengthOf("<>");
  tags[0] = '<';
  tags[length + 1] = '>';
  endTag[0] = '<';
  endTag[1] = '/';
  endTag[length + 2] = '>';
}

// A name that every report has, interned at compile time.
struct FixedName {
  consteval FixedName(std::string_view text) : length(text.size()) {
    std::copy(text.begin(), text.end(), name);
    std::copy(text.begin(), text.end(), tags + LengthOf("<"));
    std::copy(text.begin(), text.end(), tags + text.size() + LengthOf("<></"));
    PutTags(tags, text.size());
  }

  std::size_t length;
  wchar_t name[16] = {};
  char tags[std::size_t{16} * 2 + kMarkup + Arena::kSlack] = {};
};
constexpr FixedName kFixedNames[] = {
    {"MachineInfo"},   {"MachineName"},  {"AgentGUID"},     {"IPAddress"},   {"OSName"},
    {"UserName"},      {"TimeZoneBias"}, {"RawMACAddress"}, {"ProductName"}, {"ProductVersion"},
    {"ProductFamily"}, {"EventID"},      {"Severity"},      {"GMTTime"}};
constexpr std::size_t kFixedCount = std::size(kFixedNames);

constexpr auto kStoredNames = [] {
  std::array<StoredName, kFixedCount> stored{};
  std::transform(std::begin(kFixedNames), std::end(kFixedNames), stored.begin(), [](const FixedName& fixed) {
    const auto length = static_cast<std::uint32_t>(fixed.length);
    return StoredName{.name = fixed.name, .tags = fixed.tags, .length = length, .utf8Length = length};
  });
  return stored;
}();

constexpr NameTable::Buckets kFirstBuckets = [] {
  NameTable::Buckets buckets{};
  for (const StoredName& name : kStoredNames) buckets[NameTable::BucketOf(name.View())] = &name;
  return buckets;
}();
static_assert(std::count(kFirstBuckets.begin(), kFirstBuckets.end(), nullptr) ==
                  NameTable::kBuckets - kFixedCount,
              "fixed names are constant, so none can lead to another one of its bucket");

}  // namespace

NameTable::NameTable(Arena& arena) noexcept : arena_(arena), buckets_(kFirstBuckets) {}

const StoredName* NameTable::Store(std::wstring_view name, const StoredName* older) {
  if (name.size() > kLongestText) throw std::bad_alloc();
  const std::size_t units = name.size();
  const auto sizeWith = [&](std::size_t bytes) {
    return sizeof(StoredName) + units * sizeof(wchar_t) + 2 * bytes + kMarkup;
  };
  void* stored = arena_.Allocate(sizeWith(units));
  const auto tagsBehind = [&] { return static_cast<char*>(stored) + sizeWith(0) - kMarkup; };
  std::size_t bytes = units;
  bool needsConversion = false;
  if (NarrowPlain(tagsBehind() + LengthOf("<"), name.data(), units) == units) {
    NarrowPlain(tagsBehind() + LengthOf("<></") + units, name.data(), units);
  } else {
    bytes = LengthOf(name, Form::kAsItIs);
    stored = arena_.Reallocate(stored, sizeWith(units), sizeWith(bytes));
    WriteUtf8(tagsBehind() + LengthOf("<"), name, Form::kAsItIs);
    needsConversion = WriteUtf8(tagsBehind() + LengthOf("<></") + bytes, name, Form::kAsItIs).needsConversion;
  }
  char* const tags = tagsBehind();
  PutTags(tags, bytes);
  auto* const wide = reinterpret_cast<wchar_t*>(static_cast<StoredName*>(stored) + 1);
  CopyUnits(wide, name.data(), units);
  return new (stored) StoredName{.name = wide,
                                 .tags = tags,
                                 .length = static_cast<std::uint32_t>(units),
                                 .utf8Length = static_cast<std::uint32_t>(bytes),
                                 .needsConversion = needsConversion,
                                 .older = older};
}

}  // namespace AdvXMLParser
