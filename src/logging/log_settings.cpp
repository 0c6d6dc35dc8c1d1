#include "logging/log_settings.h"

#include "base/registry.h"
#include "logging/ansi_text.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace varnel {
namespace {

constexpr std::int32_t kMaxLevel = 8;
constexpr std::int32_t kMaxMegabytes = 100;
constexpr std::uint32_t kBytesPerMegabyte = 1'048'576;

// Tags of the agent's other processes, by code from 1. Their lines reach the same trace viewers.
constexpr ProcessTagText kFixedTags[] = {{"Frm"}, {"Upd"}, {"Scr"}, {"Plg"}, {"Srv"},
                                         {"Prs"}, {"Ins"}, {"Tra"}, {"Pol"}, {"Cfg"}};

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

// Reads the value's bytes. Returns their number; nothing if the value is missing or longer than the buffer.
template <std::size_t N>
std::optional<std::size_t> QueryBytes(const RegistryKey& key, const char* name, char (&buffer)[N]) noexcept {
  DWORD size = N;
  const LSTATUS status =
      RegQueryValueExA(key.Get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
  if (status != ERROR_SUCCESS) return std::nullopt;
  return std::min<std::size_t>(size, N);
}

void ReadFlags(const RegistryKey& key) noexcept {
  char flags[32];
  const auto length = QueryBytes(key, "LogFlags", flags);
  if (length)
    SetLogUserName(std::any_of(flags, flags + *length, [](char c) { return c == 'U' || c == 'u'; }));
}

void ReadDetailList(const RegistryKey& key) noexcept {
  char list[DetailList::kTextCapacity] = {};
  if (!QueryBytes(key, "LogDetailList", list)) return;
  if (!std::memchr(list, '\0', sizeof(list))) return;
  g_logSettings.detailList.TakeOver(list);
}

}  // namespace

constinit DefaultLogSinkClass g_defaultLogSink;
constinit LogSettings g_logSettings;

std::int32_t SetLogLevel(std::int32_t level) noexcept {
  return g_logSettings.level.exchange(std::clamp(level, 1, kMaxLevel));
}

void SetLogSize(std::int32_t megabytes) noexcept {
  g_logSettings.sizeLimit =
      static_cast<std::uint32_t>(std::clamp(megabytes, 1, kMaxMegabytes)) * kBytesPerMegabyte;
}

void SetLogHiRes(std::int32_t on) noexcept {
  g_logSettings.highResolution = on != 0;
}

void SetLogUserName(std::int32_t on) noexcept {
  g_logSettings.userInLines = on != 0;
}

void SetConsoleLogging(std::int32_t on) noexcept {
  g_logSettings.console = on;
}

std::int32_t EnableTraceMailslot() noexcept {
  g_logSettings.traceMailslot = true;
  return 0;
}

void SetProcessTag(const wchar_t* tag) noexcept {
  char text[kTagCapacity] = {};
  ToAnsi(tag, text, sizeof(text));
  std::copy(std::begin(text), std::end(text), g_logSettings.processTag);
  g_logSettings.processTagCode = 0;
}

void SetLogDetailList(const char* list) noexcept {
  g_logSettings.detailList.Replace(list);
}

bool IsInDetailList(const char* facility) noexcept {
  return g_logSettings.detailList.Contains(facility);
}

ProcessTagText ProcessTag() noexcept {
  const std::int32_t code = g_logSettings.processTagCode;
  if (code >= 1 && code <= static_cast<std::int32_t>(std::size(kFixedTags))) return kFixedTags[code - 1];
  ProcessTagText tag{};
  std::copy(std::begin(g_logSettings.processTag), std::end(g_logSettings.processTag), tag.text);
  return tag.text[0] != '\0' ? tag : ProcessTagText{"Unk"};
}

void ReadLogSettings() noexcept {
  const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kLogKey, KEY_QUERY_VALUE);
  if (!key) return;
  ReadLevel(key);
  if (const auto megabytes = QueryFourBytes(key, L"LogSize", 0)) SetLogSize(AsSigned(*megabytes));
  if (const auto on = QueryFourBytes(key, L"LogHiRes", 0)) SetLogHiRes(AsSigned(*on));
  ReadFlags(key);
  ReadDetailList(key);
}

void SetUpLogging() noexcept {
  SetProcessTag(L"Evt");
  EnableTraceMailslot();
  SetConsoleLogging(1);
  ReadLogSettings();
}

}  // namespace varnel
