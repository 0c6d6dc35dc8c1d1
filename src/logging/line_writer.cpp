#include "logging/line_writer.h"

#include "logging/account_text.h"
#include "logging/console_output.h"
#include "logging/log_files.h"
#include "logging/log_settings.h"
#include "logging/trace_mailslot.h"

#include <cstdio>

namespace varnel {
namespace {

template <std::size_t N>
void FormatStamp(char (&stamp)[N], bool highResolution) noexcept {
  SYSTEMTIME now;
  GetLocalTime(&now);
  char milliseconds[8] = "";
  if (highResolution) std::snprintf(milliseconds, sizeof(milliseconds), ".%03d", now.wMilliseconds);
  std::snprintf(stamp, N, "%04d-%02d-%02d %02d:%02d:%02d%s", now.wYear, now.wMonth, now.wDay, now.wHour,
                now.wMinute, now.wSecond, milliseconds);
}

void WriteToOutputs(const LogLine& line) noexcept {
  const LogSettings& settings = GetLogSettings();
  if (settings.console) WriteToConsole(line);
  if (settings.traceMailslot) WriteToTraceMailslot(line, ProcessTag());
  if (zelkor_LogSink* const sink = settings.sink) sink->OnLine(line.level, line.facility, line.text);
  WriteToLogFiles(line);
}

}  // namespace

LineWriter::LineWriter(std::int32_t level, const char* facility) noexcept
    : level_(level), facility_(facility) {
  FormatStamp(stamp_, GetLogSettings().highResolution);
}

void LineWriter::Write(const char* text) const noexcept {
  LogLine line{stamp_, level_, GetCurrentThreadId(), facility_, text};
  if (!GetLogSettings().userInLines) {
    WriteToOutputs(line);
    return;
  }
  char account[kAccountCapacity];
  GetLogUserName(account, sizeof(account));
  char withAccount[kLineCapacity];
  std::snprintf(withAccount, sizeof(withAccount), "%s\t%s", account, text);
  line.text = withAccount;
  WriteToOutputs(line);
}

}  // namespace varnel
