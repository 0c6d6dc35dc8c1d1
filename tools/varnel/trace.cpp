// varnel trace: owns the trace mailslot and prints lines as they come.

#include "base/registry.h"
#include "commands.h"
#include "console.h"
#include "json_text.h"
#include "logging/line_outputs.h"
#include "logging/log_settings.h"
#include "text.h"
#include "trace_records.h"

#include <atomic>
#include <optional>

namespace varnel::tool {
namespace {

constexpr DWORD kLook = 200;      // milliseconds between two looks at whether to end
constexpr DWORD kLongest = 4096;  // bytes of a message; a longer one, which would stay in the way, is refused

std::atomic<bool> g_ended{false};

BOOL WINAPI End(DWORD) {
  g_ended = true;
  return TRUE;
}

// The library's log level, set as long as this lives; then what was there comes back.
class ScopedLogLevel {
 public:
  explicit ScopedLogLevel(int level) {
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kLogKey, 0, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, nullptr,
                        key_.Put(), nullptr) != ERROR_SUCCESS)
      throw Failure(
          "the log level cannot be set; run varnel trace as an administrator, or leave --level out");
    size_ = sizeof(old_);
    if (RegQueryValueExW(key_.Get(), kName, nullptr, &type_, old_, &size_) != ERROR_SUCCESS) size_ = 0;
    const auto value = static_cast<DWORD>(level);
    RegSetValueExW(key_.Get(), kName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
  }
  ~ScopedLogLevel() {
    if (size_ > 0)
      RegSetValueExW(key_.Get(), kName, 0, type_, old_, size_);
    else
      RegDeleteValueW(key_.Get(), kName);
  }
  ScopedLogLevel(const ScopedLogLevel&) = delete;
  ScopedLogLevel& operator=(const ScopedLogLevel&) = delete;

 private:
  static constexpr wchar_t kName[] = L"LogLevel";
  RegistryKey key_;
  DWORD type_ = REG_NONE;
  BYTE old_[256] = {};
  DWORD size_ = 0;
};

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
  const char* const colour = coloured ? ColourOf(record.level) : "";
  Print(options.json ? JsonOf(record) : colour + Printable(record.line) + (*colour ? "\x1b[0m\n" : "\n"));
}

}  // namespace

Status RunTrace(const TraceOptions& options) {
  const FileHandle mailslot(CreateMailslotW(kTraceMailslot, kLongest, kLook, nullptr));
  if (!mailslot)
    throw Failure(GetLastError() == ERROR_ALREADY_EXISTS
                      ? "another program reads the trace already; end it first, there can be only one"
                      : "the trace mailslot cannot be made; the system's error is " +
                            std::to_string(GetLastError()));
  SetConsoleCtrlHandler(&End, TRUE);
  std::optional<ScopedLogLevel> level;
  if (options.level != 0) level.emplace(options.level);
  const ConsoleColours colours;
  const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(options.seconds) * 1000;
  TraceRecords records;
  char message[kLongest];
  while (!g_ended && (options.seconds == 0 || GetTickCount64() < end)) {
    DWORD read = 0;
    if (!ReadFile(mailslot.Get(), message, sizeof(message), &read, nullptr))
      continue;  // none within the time to look
    if (const auto record = records.Take({message, read}))
      PrintRecord(*record, options, static_cast<bool>(colours));
  }
  return kDone;
}

}  // namespace varnel::tool
