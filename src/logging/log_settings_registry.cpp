#include "base/registry.h"
#include "logging/log_settings.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace varnel {
namespace {

constexpr wchar_t kLogKey[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon";

std::int32_t AsSigned(std::uint32_t value) noexcept {
  return static_cast<std::int32_t>(value);
}

void ReadLevel(const RegistryKey& key) noexcept {
  DWORD value = 0;
  DWORD size = sizeof(value);
  DWORD type = REG_NONE;
  const LSTATUS status =
      RegQueryValueExW(key.Get(), L"LogLevel", nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  if (status == ERROR_SUCCESS && type == REG_DWORD) SetLogLevel(AsSigned(value));
}

void ReadFlags(const RegistryKey& key) noexcept {
  char flags[32];
  DWORD size = sizeof(flags);
  if (RegQueryValueExA(key.Get(), "LogFlags", nullptr, nullptr, reinterpret_cast<BYTE*>(flags), &size) !=
      ERROR_SUCCESS)
    return;
  const char* const end = flags + std::min<std::size_t>(size, sizeof(flags));
  SetLogUserName(
      std::any_of(static_cast<const char*>(flags), end, [](char c) { return c == 'U' || c == 'u'; }));
}

void ReadDetailList(const RegistryKey& key) noexcept {
  char list[256] = {};
  DWORD size = sizeof(list);
  if (RegQueryValueExA(key.Get(), "LogDetailList", nullptr, nullptr, reinterpret_cast<BYTE*>(list), &size) !=
      ERROR_SUCCESS)
    return;
  if (list[sizeof(list) - 1] != '\0')
    return;  // it fills the buffer without a terminator: not a text to be trusted
  LogSettings& settings = GetLogSettings();
  if (_stricmp(list, settings.detailListText) == 0) return;
  SetLogDetailList(list);
  std::memcpy(settings.detailListText, list, sizeof(list));
}

}  // namespace

void ReadLogSettings() noexcept {
  const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kLogKey, KEY_QUERY_VALUE);
  if (!key) return;
  ReadLevel(key);
  if (const auto megabytes = QueryFourBytes(key, L"LogSize", 0)) SetLogSize(AsSigned(*megabytes));
  if (const auto on = QueryFourBytes(key, L"LogHiRes", 0)) SetLogHiRes(AsSigned(*on));
  ReadFlags(key);
  ReadDetailList(key);
}

}  // namespace varnel
