#include "logging/log_settings.h"

#include "base/ansi_text.h"
#include "logging/log_files.h"

#include <algorithm>
#include <iterator>

namespace varnel {
namespace {

constexpr std::int32_t kMaxLevel = 8;
constexpr std::int32_t kMaxMegabytes = 100;
constexpr std::uint32_t kBytesPerMegabyte = 1'048'576;

// The agent's other processes, by code from 1; they share the facility and its trace readers.
constexpr const char* kFixedTags[] = {"Frm", "Upd", "Scr", "Plg", "Srv", "Prs", "Ins", "Tra", "Pol", "Cfg"};

DefaultLogSinkClass g_defaultSink;
LogSettings g_settings;

}  // namespace

zelkor_LogSink& DefaultLogSink() noexcept {
  return g_defaultSink;
}

LogSettings& GetLogSettings() noexcept {
  return g_settings;
}

std::int32_t SetLogLevel(std::int32_t level) noexcept {
  const std::int32_t previous = g_settings.level;
  g_settings.level = std::clamp(level, 1, kMaxLevel);
  return previous;
}

void SetLogSize(std::int32_t megabytes) noexcept {
  g_settings.sizeLimit =
      static_cast<std::uint32_t>(std::clamp(megabytes, 1, kMaxMegabytes)) * kBytesPerMegabyte;
}

void SetLogHiRes(std::int32_t on) noexcept {
  g_settings.highResolution = on != 0;
}

void SetLogUserName(std::int32_t on) noexcept {
  g_settings.userInLines = on != 0;
}

void SetConsoleLogging(std::int32_t on) noexcept {
  g_settings.console = on;
}

std::int32_t EnableTraceMailslot() noexcept {
  g_settings.traceMailslot = true;
  return 0;
}

void SetProcessTag(const wchar_t* tag) noexcept {
  ToAnsi(tag, g_settings.processTag, sizeof(g_settings.processTag));
  g_settings.processTagCode = 0;
}

void SetLogDetailList(const char* list) noexcept {
  g_settings.detailList.Replace(list);
}

bool IsInDetailList(const char* facility) noexcept {
  return g_settings.detailList.Contains(facility);
}

const char* ProcessTag() noexcept {
  const std::int32_t code = g_settings.processTagCode;
  if (code >= 1 && code <= static_cast<std::int32_t>(std::size(kFixedTags))) return kFixedTags[code - 1];
  return g_settings.processTag[0] != '\0' ? g_settings.processTag : "Unk";
}

void SetUpLogging() noexcept {
  SetProcessTag(L"Evt");
  EnableTraceMailslot();
  SetConsoleLogging(1);
  ReadLogSettings();
}

void CloseLogFiles() noexcept {
  CloseLogFileSlots();
  g_settings.detailList.Clear();
}

}  // namespace varnel
