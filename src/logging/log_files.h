#pragma once

#include "logging/line_writer.h"

#include <windows.h>

namespace varnel {

constexpr std::size_t kLogPathCapacity = 260;  // bytes, terminator included

// One log file. A host process that wants log files opens the handles and owns the decision; the slot closes
// them. Plain values, as all log settings: they are set up before lines are written.
struct LogFileSlot {
  HANDLE file = nullptr;                // null while closed
  HANDLE mutex = INVALID_HANDLE_VALUE;  // what serialises the writes of all processes; null: nothing does
  DWORD mutexWait = 10'000;             // milliseconds; then the line is written all the same, and marked
};

// The log files; each slot stays closed until somebody opens it.
struct LogFiles {
  char basePath[kLogPathCapacity] = {};  // zero-terminated ANSI, without extension
  LogFileSlot main;
  LogFileSlot error;
};

LogFiles& GetLogFiles() noexcept;

// File names below one base path, zero-terminated and cut to fit. The backup names belong to the facility's
// set of names; rotation numbers its backups instead.
struct LogFileNames {
  char main[kLogPathCapacity];
  char error[kLogPathCapacity];
  char mainBackup[kLogPathCapacity];
  char errorBackup[kLogPathCapacity];
};
[[nodiscard]] LogFileNames LogFileNamesFor(const char* basePath) noexcept;

// Opens a log file for writing, shared for reading and writing; to everyone in shared-log mode. `disposition`
// as for CreateFile. INVALID_HANDLE_VALUE on failure; the caller owns the handle.
[[nodiscard]] HANDLE OpenLogFile(const char* path, DWORD disposition) noexcept;

// Writes the line to the main file and, for levels 1 and 5, to the error file. A file that reaches the size
// limit is rotated: the present file becomes backup 1, backup n becomes n + 1, the oldest is overwritten.
void WriteToLogFiles(const LogLine& line) noexcept;

// Closes what is open, files and mutexes.
void CloseLogFileSlots() noexcept;

}  // namespace varnel
