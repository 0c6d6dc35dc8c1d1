#pragma once

#include "logging/log_line.h"

#include <windows.h>

#include <atomic>

namespace varnel {

constexpr std::size_t kLogPathCapacity = 260;  // bytes, terminator included

// One log file. A host process that wants log files opens the handles; the slot closes them. The handles may
// be closed while another thread waits for the mutex.
struct LogFileSlot {
  std::atomic<HANDLE> file{nullptr};  // null while closed
  std::atomic<HANDLE> mutex{
      INVALID_HANDLE_VALUE};  // serialises the writes of all processes; null: nothing does
  DWORD mutexWait = 10'000;   // milliseconds; then the line is written all the same, and marked
};

// The log files; each slot stays closed until somebody opens it. The path is set before a slot is opened.
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
// limit becomes its own backup 1 and a new one is opened in its place; backup n becomes n + 1, the oldest is
// overwritten. What cannot be moved or opened is passed over; the next line tries again.
void WriteToLogFiles(const LogLine& line) noexcept;

// The end of any event object closes the log for all of them: files and mutexes are closed and the detail
// list is freed. The list's text stays known, so the list comes back only when the registry's text changes.
void CloseLogFiles() noexcept;

}  // namespace varnel
