#pragma once

#include "logging/detail_list.h"

#include <atomic>
#include <cstdint>

namespace varnel {

// Not used by this DLL, which keeps the default sink: part of the logging facility.
class zelkor_LogSink {
 public:
  // Called for every line that passes the filter, on the thread that logs, without a lock. Both texts are
  // zero-terminated ANSI and valid during the call. Must not throw.
  virtual void OnLine(std::int32_t level, const char* facility, const char* text) = 0;

 protected:
  ~zelkor_LogSink() = default;
};

class DefaultLogSinkClass final : public zelkor_LogSink {
 public:
  void OnLine(std::int32_t, const char*, const char*) override {}
};

// The initial sink; it does nothing.
extern DefaultLogSinkClass g_defaultLogSink;

// The key of the log settings, below HKEY_LOCAL_MACHINE.
constexpr wchar_t kLogKey[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon";

constexpr std::size_t kTagCapacity = 16;  // bytes, terminator included

// The settings of logging in this process. Any thread may read or change one at any time. SetUpLogging
// changes them each time an event object is created.
struct LogSettings {
  std::atomic<std::int32_t> level{7};                    // messages whose level is at most this pass
  std::atomic<std::uint32_t> sizeLimit{10 * 1'048'576};  // bytes; a log file that reaches it is rotated
  std::atomic<std::int32_t> backupCount{10};             // numbered backups that rotation keeps
  std::atomic<bool> highResolution{false};               // time stamps end in milliseconds
  std::atomic<bool> userInLines{false};                  // each line starts with the account name
  std::atomic<std::int32_t> console{0};                  // nonzero: lines go to standard output
  std::atomic<bool> traceMailslot{false};                // lines go to the trace mailslot
  std::atomic<bool> sharedLog{false};            // several processes write one file; not used by this DLL
  std::atomic<std::int32_t> processTagCode{0};   // 1 to 10 select a fixed tag; 0 selects processTag
  std::atomic<char> processTag[kTagCapacity]{};  // ANSI; always terminated
  DetailList detailList;
  std::atomic<zelkor_LogSink*> sink{&g_defaultLogSink};  // borrowed; null for no sink
};

extern LogSettings g_logSettings;

inline LogSettings& GetLogSettings() noexcept {
  return g_logSettings;
}

// Sets the level, clamped to 1 to 8. Returns the previous level.
std::int32_t SetLogLevel(std::int32_t level) noexcept;
// Sets the size at which a log file is rotated, clamped to 1 to 100 megabytes.
void SetLogSize(std::int32_t megabytes) noexcept;
void SetLogHiRes(std::int32_t on) noexcept;
void SetLogUserName(std::int32_t on) noexcept;
void SetConsoleLogging(std::int32_t on) noexcept;
// Switches the trace mailslot on. Returns 0.
std::int32_t EnableTraceMailslot() noexcept;
// Sets the text of the process tag from zero-terminated `tag`, cut to 15 bytes of ANSI, and the code to 0.
void SetProcessTag(const wchar_t* tag) noexcept;
// Replaces the detail list: see DetailList::Replace.
void SetLogDetailList(const char* list) noexcept;
bool IsInDetailList(const char* facility) noexcept;

// Returns the process tag of trace lines, zero-terminated: the fixed tag for codes 1 to 10, otherwise the tag
// text, or "Unk" if that is empty.
struct ProcessTagText {
  char text[kTagCapacity];
};
ProcessTagText ProcessTag() noexcept;

// Reads the settings from the registry; docs/settings.md has the values. One that is missing or unusable
// leaves its setting unchanged, and a number out of range is clamped.
void ReadLogSettings() noexcept;

// Sets the process tag "Evt", switches mailslot and console on and reads the registry. The constructor of
// every event object calls it.
void SetUpLogging() noexcept;

}  // namespace varnel
