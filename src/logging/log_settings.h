#pragma once

#include "logging/detail_list.h"
#include "logging/log_sink.h"

#include <cstdint>

namespace varnel {

// The sink that is in place until another is set; it does nothing.
zelkor_LogSink& DefaultLogSink() noexcept;

// The process-wide settings of the logging facility. They are plain values that any thread may read at any
// time; set-up writes them without a lock each time an event object is created.
struct LogSettings {
  std::int32_t level = 7;                    // messages whose level is at most this pass
  std::uint32_t sizeLimit = 10 * 1'048'576;  // bytes; a log file that reaches it is rotated
  std::int32_t backupCount = 10;             // numbered backups that rotation keeps
  bool highResolution = false;               // time stamps end in milliseconds
  bool userInLines = false;                  // each line starts with the account name
  std::int32_t console = 0;                  // nonzero: lines go to standard output
  bool traceMailslot = false;                // lines go to the trace mailslot
  bool sharedLog = false;           // several processes write one file; nothing in this module sets it
  std::int32_t processTagCode = 0;  // selects a fixed tag; this module uses the text instead
  char processTag[16] = {};         // zero-terminated
  char detailListText[256] = {};    // the last "LogDetailList" taken over; zero-terminated
  DetailList detailList;
  zelkor_LogSink* sink = &DefaultLogSink();  // never owned; null means none
};

LogSettings& GetLogSettings() noexcept;

// The level is brought into 1 to 8. Returns the previous one.
std::int32_t SetLogLevel(std::int32_t level) noexcept;
// Brought into 1 to 100 megabytes.
void SetLogSize(std::int32_t megabytes) noexcept;
void SetLogHiRes(std::int32_t on) noexcept;
void SetLogUserName(std::int32_t on) noexcept;
void SetConsoleLogging(std::int32_t on) noexcept;
// Returns 0.
std::int32_t EnableTraceMailslot() noexcept;
// Zero-terminated; cut to 15 bytes in the ANSI code page.
void SetProcessTag(const wchar_t* tag) noexcept;
// Zero-terminated items separated by ";"; see DetailList::Replace.
void SetLogDetailList(const char* list) noexcept;
bool IsInDetailList(const char* facility) noexcept;

// The tag that lines carry: the fixed tag of codes 1 to 10, else the text, else "Unk". Zero-terminated, valid
// until the next SetProcessTag.
const char* ProcessTag() noexcept;

// Takes over what the registry sets; a value that is missing or cannot be used leaves its setting alone.
void ReadLogSettings() noexcept;

// What the creation of an event object runs: tag "Evt", mailslot and console on, registry settings read.
void SetUpLogging() noexcept;

// The end of any event object closes the log for all of them: the detail list is freed, but its text is kept,
// so the list comes back only when the registry's text changes.
void CloseLogFiles() noexcept;

}  // namespace varnel
