#include "logging/log_writer.h"

#include "logging/account_text.h"
#include "logging/ansi_text.h"
#include "logging/fault_guard.h"
#include "logging/line_outputs.h"
#include "logging/log_files.h"
#include "logging/log_settings.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>

namespace varnel {
namespace {

constexpr std::size_t kMessageCapacity = 4097;  // characters, terminator included
constexpr std::size_t kFacilityCapacity = 19;   // bytes, terminator included
constexpr std::size_t kStampCapacity = 64;      // bytes, terminator included

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

void FormatStamp(char (&stamp)[kStampCapacity]) noexcept {
  SYSTEMTIME now;
  GetLocalTime(&now);
  char milliseconds[8] = "";
  if (GetLogSettings().highResolution)
    FormatAnsi(milliseconds, sizeof(milliseconds), ".%03d", now.wMilliseconds);
  FormatAnsi(stamp, sizeof(stamp), "%04d-%02d-%02d %02d:%02d:%02d%s", now.wYear, now.wMonth, now.wDay,
             now.wHour, now.wMinute, now.wSecond, milliseconds);
}

void WriteToOutputs(const LogLine& line) noexcept {
  const LogSettings& settings = GetLogSettings();
  if (settings.console) WriteToConsole(line);
  if (settings.traceMailslot) WriteToTraceMailslot(line, ProcessTag().text);
  if (zelkor_LogSink* const sink = settings.sink) sink->OnLine(line.level, line.facility, line.text);
  WriteToLogFiles(line);
}

void WriteWithAccount(LogLine line) noexcept {
  char account[kAccountCapacity];
  GetLogUserName(account, sizeof(account));
  char text[kLineCapacity];
  FormatAnsi(text, sizeof(text), "%s\t%s", account, line.text);
  line.text = text;
  WriteToOutputs(line);
}

// Writes each line of `text` with the same time stamp. A final line feed gives an empty last line.
void WriteLines(std::int32_t level, const char* facility, char* text) noexcept {
  char stamp[kStampCapacity];
  FormatStamp(stamp);
  const bool namesAccount = GetLogSettings().userInLines;
  for (;;) {
    char* const lineEnd = std::strchr(text, '\n');
    if (lineEnd) *lineEnd = '\0';
    const LogLine line{stamp, level, GetCurrentThreadId(), facility, text};
    if (namesAccount)
      WriteWithAccount(line);
    else
      WriteToOutputs(line);
    if (!lineEnd) return;
    text = lineEnd + 1;
  }
}

// A function of its own, so that a message that LogMessage drops does not pay for the stack of these buffers.
void FilterAndWrite(std::int32_t level, const wchar_t* facility, const wchar_t* format,
                    va_list arguments) noexcept {
  const LogSettings& settings = GetLogSettings();
  char facilityText[kFacilityCapacity];
  ToAnsi(facility ? facility : L"???", facilityText, sizeof(facilityText));
  if (level > settings.level && !settings.detailList.Contains(facilityText)) return;
  wchar_t message[kMessageCapacity];
  FormatMessageText(message, format, arguments);
  char text[kMessageCapacity];
  ToAnsi(message, text, sizeof(text));
  WriteLines(level, facilityText, text);
}

}  // namespace

void LogMessage(std::int32_t level, const wchar_t* facility, const wchar_t* format, ...) noexcept {
  const LogSettings& settings = GetLogSettings();
  if (level > settings.level && !settings.detailList.MayContain()) return;
  va_list arguments;
  va_start(arguments, format);
  FilterAndWrite(level, facility, format, arguments);
  va_end(arguments);
}

}  // namespace varnel
