// Rows about values that the library does not read, because of their key or their name.

#include "console/wide_text.h"
#include "doctor/checks.h"
#include "logging/log_settings.h"
#include "machine/registry_value.h"
#include "settings/agent_settings.h"

#include <windows.h>

#include <algorithm>
#include <cwctype>
#include <numeric>
#include <string>
#include <vector>

namespace varnel::tool {
namespace {

struct ReadKey {
  const wchar_t* path;
  std::vector<const wchar_t*> names;
};

std::vector<ReadKey> ReadKeys() {
  return {{kFrameworkKey,
           {L"AgentMode", L"Data Path", L"AgentGUID", L"IPAddress", L"AgPlcyEnableEventTrigger",
            L"AgPlcyEventTriggerThreshold", L"SelfProtectionClient", L"Brenn Size"}},
          {kEventParserKey, {L"EventsPath"}},
          {kLogKey, {L"LogLevel", L"LogSize", L"LogHiRes", L"LogFlags", L"LogDetailList"}}};
}

RegistryKey Open(HKEY root, const std::wstring& path) {
  return OpenRegistryKey(root, path.c_str(), KEY_QUERY_VALUE | KEY_WOW64_64KEY);
}

// SOFTWARE\Wow6432Node\Kestrane -> SOFTWARE\Kestrane
std::wstring In64BitPart(std::wstring path) {
  constexpr std::wstring_view k32BitPart = L"Wow6432Node\\";
  return path.erase(path.find(k32BitPart), k32BitPart.size());
}

struct Elsewhere {
  HKEY root;
  std::wstring path;
  const char* shownRoot;
};

std::string Lacking(const ReadKey& read, const Elsewhere& other) {
  const RegistryKey right = Open(HKEY_LOCAL_MACHINE, read.path);
  const RegistryKey wrong = Open(other.root, other.path);
  std::string names;
  for (const wchar_t* const name : read.names)
    if (ReadValue(wrong, name) && !ReadValue(right, name)) AddTo(names, ToUtf8(name));
  return names;
}

// Returns the letters and digits of a name, in lower case.
std::wstring Core(std::wstring_view name) {
  std::wstring core;
  for (const wchar_t unit : name)
    if (std::iswalnum(unit)) core += static_cast<wchar_t>(std::towlower(unit));
  return core;
}

// Returns the edit distance of two texts.
std::size_t Distance(std::wstring_view one, std::wstring_view other) {
  std::vector<std::size_t> costs(other.size() + 1);
  std::iota(costs.begin(), costs.end(), std::size_t{0});
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = costs[0]++;
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t exchanged = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = costs[j + 1];
      costs[j + 1] = std::min({exchanged, costs[j] + 1, costs[j + 1] + 1});
    }
  }
  return costs.back();
}

std::vector<std::wstring> NamesIn(const RegistryKey& key) {
  std::vector<std::wstring> names;
  wchar_t name[256];
  DWORD size = 256;
  for (DWORD i = 0;
       RegEnumValueW(key.Get(), i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++i, size = 256)
    names.emplace_back(name, size);
  return names;
}

// Returns the misspelt names, each with the name that the library reads.
std::string Misspelt(const ReadKey& read) {
  std::string pairs;
  const RegistryKey key = Open(HKEY_LOCAL_MACHINE, read.path);
  if (!key) return pairs;
  for (const std::wstring& found : NamesIn(key))
    for (const wchar_t* const name : read.names)
      if (!ReadValue(key, name) && Core(found).size() > 4 && Distance(Core(found), Core(name)) <= 2)
        AddTo(pairs, "\"" + Printable(found) + "\" (the name is \"" + ToUtf8(name) + "\")");
  return pairs;
}

}  // namespace

Rows CheckRegistryPlaces() {
  Rows rows;
  std::string misspelt;
  for (const ReadKey& read : ReadKeys()) {
    for (const Elsewhere& other : {Elsewhere{HKEY_LOCAL_MACHINE, In64BitPart(read.path), "HKLM\\"},
                                   Elsewhere{HKEY_CURRENT_USER, read.path, "HKCU\\"},
                                   Elsewhere{HKEY_CURRENT_USER, In64BitPart(read.path), "HKCU\\"}}) {
      const std::string names = Lacking(read, other);
      if (!names.empty())
        rows.push_back({"registry", State::kWarning,
                        names + ": set in " + other.shownRoot + ToUtf8(other.path) + ", where it is not read",
                        "Set it in HKLM\\" + ToUtf8(read.path) +
                            (other.root == HKEY_CURRENT_USER
                                 ? ": every account reads the machine's settings."
                                 : ", the 32-bit part of the registry, which 64-bit products read too.")});
    }
    if (const std::string pairs = Misspelt(read); !pairs.empty()) AddTo(misspelt, pairs);
  }
  if (!misspelt.empty())
    rows.push_back(
        {"registry", State::kWarning, "not read: " + misspelt, "Correct the names of these values."});
  if (rows.empty())
    rows.push_back({"registry", State::kOk, "all settings are in the keys that the library reads", ""});
  return rows;
}

std::string ListSettings() {
  std::string text;
  for (const ReadKey& read : ReadKeys()) {
    text += "HKLM\\" + ToUtf8(read.path) + "\r\n";
    const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, read.path, KEY_QUERY_VALUE);
    for (const wchar_t* const name : read.names) {
      const auto value = ReadValue(key, name);
      text += "  " + ToUtf8(name) + ": " + (value ? Described(*value) : "not set") + "\r\n";
    }
  }
  return text;
}

}  // namespace varnel::tool
