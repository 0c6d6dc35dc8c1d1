// What the registry makes of the log settings: asked of the library's own reader, here in this process.

#include "doctor_checks.h"
#include "logging/log_settings.h"
#include "registry_value.h"
#include "trace_level.h"

#include <algorithm>

namespace varnel::tool {
namespace {

constexpr std::uint32_t kMegabyte = 1'048'576;

// Whether the registry decides about a setting: reading gives the same, whatever stood there before.
template <class Set, class Get>
bool IsDecided(Set set, Get get, int one, int other) {
  set(one);
  ReadLogSettings();
  const auto first = get();
  set(other);
  ReadLogSettings();
  return first == get();
}

// The facilities of a list, without those that are empty.
std::vector<std::string> Split(const std::string& list) {
  std::vector<std::string> items;
  for (std::size_t at = 0; at < list.size();) {
    const std::size_t end = std::min(list.find(';', at), list.size());
    if (end > at) items.push_back(list.substr(at, end - at));
    at = end + 1;
  }
  return items;
}

// Whether all facilities of the list that is set, if there is one, are in the library's.
bool IsDetailListTaken(const RegistryKey& key) {
  if (!HasValue(key, L"LogDetailList")) return true;
  char text[4096] = {};
  DWORD size = sizeof(text);
  const LSTATUS status = RegGetValueA(key.Get(), nullptr, "LogDetailList", RRF_RT_ANY, nullptr, text, &size);
  text[sizeof(text) - 1] = '\0';
  if (status != ERROR_SUCCESS) return false;
  const std::vector<std::string> items = Split(text);
  return std::all_of(items.begin(), items.end(),
                     [](const std::string& item) { return IsInDetailList(item.c_str()); });
}

// The names of values that are there and change nothing, or something to another value than theirs.
std::string UnusableValues(const RegistryKey& key) {
  const LogSettings& settings = GetLogSettings();
  const auto number = [&key](const wchar_t* name) { return QueryFourBytes(key, name, 0).value_or(0); };
  const std::pair<const wchar_t*, bool> values[] = {
      {L"LogLevel", IsDecided(
                        SetLogLevel, [&] { return settings.level.load(); }, 1, 2) &&
                        number(L"LogLevel") == static_cast<std::uint32_t>(settings.level)},
      {L"LogSize", IsDecided(
                       SetLogSize, [&] { return settings.sizeLimit.load(); }, 1, 2) &&
                       std::uint64_t{number(L"LogSize")} * kMegabyte == settings.sizeLimit},
      {L"LogHiRes", IsDecided(
                        SetLogHiRes, [&] { return settings.highResolution.load(); }, 0, 1)},
      {L"LogFlags", IsDecided(
                        SetLogUserName, [&] { return settings.userInLines.load(); }, 0, 1)}};
  std::string unusable;
  for (const auto& [name, isUsed] : values)
    if (HasValue(key, name) && !isUsed) AddTo(unusable, ToUtf8(name));
  if (!IsDetailListTaken(key)) AddTo(unusable, "LogDetailList");
  return unusable;
}

// As a process finds them that has just loaded the library.
void ReadAfresh() {
  const LogSettings defaults;
  SetLogLevel(defaults.level);
  SetLogSize(static_cast<std::int32_t>(defaults.sizeLimit / kMegabyte));
  SetLogHiRes(defaults.highResolution);
  SetLogUserName(defaults.userInLines);
  ReadLogSettings();
}

}  // namespace

Checks CheckLog() {
  const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kLogKey, KEY_QUERY_VALUE);
  const std::string unusable = key ? UnusableValues(key) : "";
  ReadAfresh();
  const LogSettings& settings = GetLogSettings();
  std::string found = "level " + std::to_string(settings.level) + ", files of " +
                      std::to_string(settings.sizeLimit / kMegabyte) + " MB";
  if (settings.highResolution) found += ", milliseconds";
  if (settings.userInLines) found += ", account names";
  Checks checks = CheckTraceLevel();
  if (unusable.empty())
    checks.push_back({"log settings", State::kOk, found, ""});
  else
    checks.push_back({"log settings", State::kWarning, found + "; cannot be used as they are: " + unusable,
                      "Correct these values (docs/settings.md), or remove them."});
  return checks;
}

}  // namespace varnel::tool
