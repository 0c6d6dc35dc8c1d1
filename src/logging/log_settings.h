#pragma once

#include "logging/detail_list.h"

#include <atomic>
#include <cstdint>

namespace varnel {

// Receives every line that passes the filter. Called on the thread that logs, without a lock.
class zelkor_LogSink {
 public:
  // Both texts are zero-terminated, in the ANSI code page, and valid for the call only. Must not throw.
  virtual void OnLine(std::int32_t level, const char* facility, const char* text) = 0;

 protected:
  ~zelkor_LogSink() = default;
};

class DefaultLogSinkClass final : public zelkor_LogSink {
 public:
  void OnLine(std::int32_t, const char*, const char*) override {}
};

// The sink that is in place until another is set; it does nothing.
extern DefaultLogSinkClass g_defaultLogSink;

// Below HKEY_LOCAL_MACHINE: where the settings stand.
constexpr wchar_t kLogKey[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon";

constexpr std::size_t kTagCapacity = 16;  // bytes, terminator included

// The process-wide settings of the logging facility. Any thread may read or change one at any time; set-up
// changes them each time an event object is created.
struct LogSettings {
  std::atomic<std::int32_t> level{7};                    // messages whose level is at most this pass
  std::atomic<std::uint32_t> sizeLimit{10 * 1'048'576};  // bytes; a log file that reaches it is rotated
  std::atomic<std::int32_t> backupCount{10};             // numbered backups that rotation keeps
  std::atomic<bool> highResolution{false};               // time stamps end in milliseconds
  std::atomic<bool> userInLines{false};                  // each line starts with the account name
  std::atomic<std::int32_t> console{0};                  // nonzero: lines go to standard output
  std::atomic<bool> traceMailslot{false};                // lines go to the trace mailslot
  std::atomic<bool> sharedLog{false};  // several processes write one file; nothing in this module sets it
  std::atomic<std::int32_t> processTagCode{0};   // selects a fixed tag; this module uses the text instead
  std::atomic<char> processTag[kTagCapacity]{};  // the last one stays zero
  DetailList detailList;
  std::atomic<zelkor_LogSink*> sink{&g_defaultLogSink};  // never owned; null means none
};

extern LogSettings g_logSettings;

inline LogSettings& GetLogSettings() noexcept {
  return g_logSettings;
}

// Clamps the level to 1 to 8. Returns the previous one.
std::int32_t SetLogLevel(std::int32_t level) noexcept;
// Clamps the size to 1 to 100 megabytes.
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

// The tag that lines carry: the fixed tag of codes 1 to 10, else the text, else "Unk". Zero-terminated.
struct ProcessTagText {
  char text[kTagCapacity];
};
ProcessTagText ProcessTag() noexcept;

// Takes over what the registry sets; a value that is missing or cannot be used leaves its setting alone.
void ReadLogSettings() noexcept;

// What the creation of an event object runs: tag "Evt", mailslot and console on, registry settings read.
void SetUpLogging() noexcept;

}  // namespace varnel
