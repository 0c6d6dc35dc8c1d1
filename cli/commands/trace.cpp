// varnel trace: owns the trace mailslot and prints log lines as they arrive.

#include "commands/commands.h"
#include "console/console.h"
#include "console/json_text.h"
#include "console/streams_windows.h"
#include "console/wide_text.h"
#include "logging/log_line.h"
#include "trace/trace_level.h"
#include "trace/trace_records.h"
#include "trace/trace_slot.h"

#include <windows.h>

#include <atomic>
#include <optional>

namespace varnel::tool {
namespace {

std::atomic<bool> g_ended{false};
HANDLE g_done = nullptr;  // set after the log level has been restored; never closed

BOOL WINAPI End(DWORD reason) {
  constexpr DWORD kPatience = 4000;  // milliseconds; Windows ends the process after five seconds
  g_ended = true;
  // Except for Ctrl+C and Ctrl+Break, Windows ends the process when this function returns.
  if (reason != CTRL_C_EVENT && reason != CTRL_BREAK_EVENT) WaitForSingleObject(g_done, kPatience);
  return TRUE;
}

int NumberOf(char letter) {
  for (int level = 1; level <= 8; ++level)
    if (LevelLetter(level) == letter) return level;
  return 0;  // always shown
}

const char* ColourOf(char letter) {
  switch (letter) {
    case 'e':
    case 'E':
      return "\x1b[31m";
    case 'w':
    case 'W':
      return "\x1b[33m";
    case 'x':
    case 'X':
      return "\x1b[90m";
    default:
      return "";
  }
}

std::string JsonOf(const TraceRecord& record) {
  return JsonText({{"sequence", record.sequence},
                   {"missing", record.missing},
                   {"cut", record.cut},
                   {"time", record.stamp},
                   {"level", std::string(1, record.level)},
                   {"tag", record.tag},
                   {"thread", record.thread},
                   {"facility", record.facility},
                   {"text", record.text}}) +
         "\n";
}

void PrintRecord(const TraceRecord& record, const TraceOptions& options, bool coloured) {
  if (record.missing > 0 && !options.json)
    Print("-- " + std::to_string(record.missing) + " records are missing here\n");
  if (NumberOf(record.level) > options.upTo ||
      (!options.facility.empty() && record.facility != options.facility))
    return;
  if (record.cut > 0 && !options.json)
    Print("-- " + std::to_string(record.cut) + " bytes are left out at the end of the next line\n");
  const char* const colour = coloured ? ColourOf(record.level) : "";
  Print(options.json ? JsonOf(record) : colour + Printable(record.line) + (*colour ? "\x1b[0m\n" : "\n"));
}

// Restores the log level of a killed trace. Without --level, a trace continues if this account may not do
// that.
void Repair(bool isNeeded) {
  try {
    if (RepairLogLevel())
      PrintError("restored the log level, which an earlier trace had not restored because it was killed");
  } catch (const Failure& failure) {
    if (isNeeded) throw;
    PrintError(failure.what());
  }
}

void Read(TraceSlot& slot, const TraceOptions& options) {
  Repair(options.level != 0);
  std::optional<ScopedLogLevel> level;
  if (options.level != 0) level.emplace(options.level);
  const ConsoleColours colours;
  const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(options.seconds) * 1000;
  TraceRecords records;
  while (!g_ended && (options.seconds == 0 || GetTickCount64() < end)) {
    const std::optional<std::string_view> message = slot.Next();
    if (!message) continue;
    if (const auto record = records.Take(*message)) PrintRecord(*record, options, static_cast<bool>(colours));
  }
}

}  // namespace

Status RunTrace(const TraceOptions& options) {
  TraceSlot slot;
  g_done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(&End, TRUE);
  Read(slot, options);
  SetEvent(g_done);
  return kDone;
}

Status RepairTrace() {
  const TraceSlot slot;  // ensures that no trace runs or starts meanwhile
  Print(RepairLogLevel() ? "Restored the log level of before the killed trace.\n"
                         : "Nothing to restore: no killed trace has left a log level.\n");
  return kDone;
}

}  // namespace varnel::tool
