#pragma once

#include "logging/log_line.h"

#include <windows.h>

#include <atomic>

namespace varnel {

constexpr std::size_t kLogPathCapacity = 260;  // bytes, terminator included

// Not used by this DLL: part of the logging facility. No function of this library opens a log file, so both
// slots stay closed and nothing is written to them.

// One log file: an open file and the mutex that serialises its writers. CloseLogFiles may close both while
// another thread waits for the mutex.
struct LogFileSlot {
  std::atomic<HANDLE> file{nullptr};  // null while closed
  // Shared with the other processes that write the file. INVALID_HANDLE_VALUE while closed; null if writers
  // are not serialised.
  std::atomic<HANDLE> mutex{INVALID_HANDLE_VALUE};
  DWORD mutexWait = 10'000;  // milliseconds; after a timeout the line is written all the same, and marked
};

// The process's log files. `basePath` must be set before a slot is opened.
struct LogFiles {
  char basePath[kLogPathCapacity] = {};  // zero-terminated ANSI, without extension
  LogFileSlot main;
  LogFileSlot error;
};

LogFiles& GetLogFiles() noexcept;

// File names derived from a base path ("BASE.log", "BASE_error.log" and so on), zero-terminated and cut to
// fit. Rotation does not use the two backup names: it numbers its backups.
struct LogFileNames {
  char main[kLogPathCapacity];
  char error[kLogPathCapacity];
  char mainBackup[kLogPathCapacity];
  char errorBackup[kLogPathCapacity];
};
[[nodiscard]] LogFileNames LogFileNamesFor(const char* basePath) noexcept;

// Opens a log file for writing, shared for reading and writing. In shared-log mode a new file grants access
// to every account. `disposition` is that of CreateFile. Returns a handle that the caller owns, or
// INVALID_HANDLE_VALUE.
[[nodiscard]] HANDLE OpenLogFile(const char* path, DWORD disposition) noexcept;

// Appends the line to the main file and, for levels 1 and 5, to the error file; does nothing while they are
// closed. A file that reaches the size limit is rotated: backup n is renamed to n + 1, the file to backup 1,
// and a new file is opened. A rename or opening that fails is ignored and tried again at the next line.
void WriteToLogFiles(const LogLine& line) noexcept;

// Closes both files and their mutexes and clears the detail list, for the whole process. The destructor of
// every event object calls it. The cleared list comes back only when its registry text changes: see
// DetailList::Clear.
void CloseLogFiles() noexcept;

}  // namespace varnel
