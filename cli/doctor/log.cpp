// Rows about the log settings, as the library reads them from the registry.

#include "doctor/checks.h"
#include "logging/log_settings.h"
#include "logging/log_writer.h"
#include "machine/registry_value.h"
#include "trace/trace_level.h"

#include <algorithm>
#include <utility>

namespace varnel::tool {
namespace {

constexpr std::uint32_t kMegabyte = 1'048'576;

std::string Stated(const wchar_t* name, const RegistryValue& value) {
  return ToUtf8(name) + " is " + Described(value);
}

// Each Fault... returns the fault of a value; an empty text if the value is missing or valid. For a number
// outside of its range the library takes the nearest limit.
std::string FaultOfNumber(const RegistryKey& key, const wchar_t* name, std::uint32_t least,
                          std::uint32_t most) {
  const auto value = ReadValue(key, name);
  if (!value) return {};
  if (!value->IsNumber()) return Stated(name, *value) + ", not a number (REG_DWORD)";
  const std::uint32_t number = QueryFourBytes(key, name, 0).value_or(least);
  if (number >= least && number <= most) return {};
  return Stated(name, *value) + ", not within " + std::to_string(least) + " to " + std::to_string(most);
}

// `capacity` is the limit in bytes of the ANSI code page, with the terminating zero.
std::string FaultOfText(const RegistryKey& key, const wchar_t* name, std::size_t capacity) {
  const auto value = ReadValue(key, name);
  if (!value) return {};
  if (value->type != REG_SZ) return Stated(name, *value) + ", not a text (REG_SZ)";
  if (value->Text().size() < capacity) return {};
  return ToUtf8(name) + " has " + std::to_string(value->Text().size()) + " characters, more than " +
         std::to_string(capacity - 1) + ", and is ignored";
}

std::string FaultOfDetailList(const RegistryKey& key) {
  constexpr wchar_t kName[] = L"LogDetailList";
  constexpr std::ptrdiff_t kMostItems = 15;
  std::string fault = FaultOfText(key, kName, DetailList::kTextCapacity);
  const auto value = ReadValue(key, kName);
  if (!fault.empty() || !value) return fault;
  const std::wstring list = value->Text();
  if (list.find_first_of(L", ") != list.npos)
    return Stated(kName, *value) + "; entries must be separated by \";\"";
  if (std::count(list.begin(), list.end(), L';') >= kMostItems && list.find_last_not_of(L';') != list.npos &&
      std::count(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(list.find_last_not_of(L';')),
                 L';') >= kMostItems)
    return "LogDetailList has more than 15 entries; only the first 15 are used";
  return {};
}

std::string Faults(const RegistryKey& key) {
  std::string faults;
  for (const std::string& fault :
       {FaultOfNumber(key, L"LogLevel", 1, 8), FaultOfNumber(key, L"LogSize", 1, 100),
        FaultOfNumber(key, L"LogHiRes", 0, 0xFFFFFFFF), FaultOfText(key, L"LogFlags", 32),
        FaultOfDetailList(key)})
    if (!fault.empty()) AddTo(faults, fault, "; ");
  return faults;
}

}  // namespace

Rows CheckLog() {
  constexpr std::int32_t kFailures = 5;  // log level of a save's failures
  const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kLogKey, KEY_QUERY_VALUE);
  ReadLogSettings();
  const LogSettings& settings = GetLogSettings();
  Row row{"log settings", State::kOk,
          "level " + std::to_string(settings.level) + ", files of " +
              std::to_string(settings.sizeLimit / kMegabyte) + " MB",
          ""};
  if (settings.highResolution) row.found += ", milliseconds";
  if (settings.userInLines) row.found += ", account names";
  if (const std::string faults = Faults(key); !faults.empty()) {
    row.state = State::kWarning;
    row.found += "; " + faults;
    row.remedy = "Correct these values (docs/settings.md), or remove them.";
  }
  if (settings.level < kFailures && !IsInDetailList("Quorvel")) {
    row.state = State::kWarning;
    row.found += "; the library logs its failures at level 5, so they are not shown";
    if (row.remedy.empty()) row.remedy = "Set LogLevel to 5 or more, or add Quorvel to LogDetailList.";
  }
  Rows rows;
  if (const std::string old = LevelBeforeKilledTrace(); !old.empty())
    rows.push_back(
        {"trace", State::kWarning,
         "varnel trace --level was killed before it could restore the log level; the old level was " + old,
         "Run varnel doctor --repair-trace as an administrator."});
  rows.push_back(std::move(row));
  return rows;
}

}  // namespace varnel::tool
