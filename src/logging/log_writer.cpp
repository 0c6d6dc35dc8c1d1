#include "logging/log_writer.h"

#include "base/ansi_text.h"
#include "logging/fault_guard.h"
#include "logging/levels.h"
#include "logging/line_writer.h"
#include "logging/log_settings.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <cwchar>

namespace varnel {
namespace {

constexpr std::size_t kMessageCapacity = 4097;  // characters, terminator included
constexpr std::size_t kFacilityCapacity = 19;   // bytes, terminator included

struct Formatting {
  wchar_t* buffer;
  const wchar_t* format;
  va_list* arguments;
};

int Format(void* context) noexcept {
  const auto& formatting = *static_cast<const Formatting*>(context);
  return _vsnwprintf(formatting.buffer, kMessageCapacity - 1, formatting.format, *formatting.arguments);
}

void FormatMessageText(wchar_t (&buffer)[kMessageCapacity], const wchar_t* format,
                       va_list& arguments) noexcept {
  Formatting formatting{buffer, format ? format : L"???", &arguments};
  int length = 0;
  if (!RunFaultGuarded(Format, &formatting, &length)) std::wcscpy(buffer, L"??? bad message format");
  buffer[kMessageCapacity - 1] = L'\0';
}

// Line feeds separate lines; a text that ends in one gives an empty last line.
void WriteLines(std::int32_t level, const char* facility, char* text) noexcept {
  const LineWriter writer(level, facility);
  for (;;) {
    char* const lineEnd = std::strchr(text, '\n');
    if (lineEnd) *lineEnd = '\0';
    writer.Write(text);
    if (!lineEnd) return;
    text = lineEnd + 1;
  }
}

void LogMessageV(std::int32_t level, const wchar_t* facility, const wchar_t* format,
                 va_list& arguments) noexcept {
  const LogSettings& settings = GetLogSettings();
  const bool needsDetailList = level > settings.level;
  if (needsDetailList && !settings.detailList.MayContain()) return;
  char facilityText[kFacilityCapacity];
  ToAnsi(facility ? facility : L"???", facilityText, sizeof(facilityText));
  if (needsDetailList && !IsInDetailList(facilityText)) return;

  wchar_t message[kMessageCapacity];
  FormatMessageText(message, format, arguments);
  char text[kMessageCapacity];
  ToAnsi(message, text, sizeof(text));
  WriteLines(level, facilityText, text);
}

}  // namespace

void LogMessage(std::int32_t level, const wchar_t* facility, const wchar_t* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  LogMessageV(level, facility, format, arguments);
  va_end(arguments);
}

void LogDetail(const wchar_t* facility, const wchar_t* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  LogMessageV(kLevelDetail, facility, format, arguments);
  va_end(arguments);
}

void LogInfo(const wchar_t* facility, const wchar_t* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  LogMessageV(kLevelInfo, facility, format, arguments);
  va_end(arguments);
}

void LogError(const wchar_t* facility, const wchar_t* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  LogMessageV(kLevelError, facility, format, arguments);
  va_end(arguments);
}

}  // namespace varnel
