// varnel trace: owns the trace mailslot and prints lines as they come.

#include "base/registry.h"
#include "commands.h"
#include "console.h"
#include "json_text.h"
#include "local_memory.h"
#include "logging/line_outputs.h"
#include "logging/log_settings.h"
#include "text.h"
#include "trace_records.h"

#include <sddl.h>

#include <atomic>
#include <optional>
#include <vector>

namespace varnel::tool {
namespace {

constexpr DWORD kLook = 200;      // milliseconds between two looks at whether to end
constexpr DWORD kLongest = 4096;  // bytes of a message; a longer one, which would stay in the way, is refused

std::atomic<bool> g_ended{false};
HANDLE g_done = nullptr;  // set when all is as it was; it lives as long as the process

BOOL WINAPI End(DWORD reason) {
  constexpr DWORD kPatience = 4000;  // the system waits for five seconds
  g_ended = true;
  // The process ends when this returns, but for Ctrl+C and Ctrl+Break.
  if (reason != CTRL_C_EVENT && reason != CTRL_BREAK_EVENT) WaitForSingleObject(g_done, kPatience);
  return TRUE;
}

// The library's log level, set as long as this lives; then what was there comes back.
class ScopedLogLevel {
 public:
  explicit ScopedLogLevel(int level) {
    DWORD disposition = 0;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kLogKey, 0, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, nullptr,
                        key_.Put(), &disposition) != ERROR_SUCCESS)
      Refuse();
    madeKey_ = disposition == REG_CREATED_NEW_KEY;
    DWORD size = 0;
    LSTATUS status = ERROR_MORE_DATA;  // it may grow between the two calls
    while (status == ERROR_MORE_DATA || (status == ERROR_SUCCESS && old_.size() < size)) {
      old_.resize(size);
      status = RegQueryValueExW(key_.Get(), kName, nullptr, &type_, old_.data(), &size);
    }
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) Refuse();
    old_.resize(size);
    wasThere_ = status == ERROR_SUCCESS;
    const auto value = static_cast<DWORD>(level);
    if (RegSetValueExW(key_.Get(), kName, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                       sizeof(value)) != ERROR_SUCCESS)
      Refuse();
  }
  ~ScopedLogLevel() {
    if (wasThere_)
      RegSetValueExW(key_.Get(), kName, 0, type_, old_.data(), static_cast<DWORD>(old_.size()));
    else
      RegDeleteValueW(key_.Get(), kName);
    DWORD keys = 0;
    DWORD values = 0;
    RegQueryInfoKeyW(key_.Get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                     nullptr, nullptr, nullptr);
    key_.Reset();
    if (madeKey_ && keys + values == 0) RegDeleteKeyW(HKEY_LOCAL_MACHINE, kLogKey);
  }
  ScopedLogLevel(const ScopedLogLevel&) = delete;
  ScopedLogLevel& operator=(const ScopedLogLevel&) = delete;

 private:
  [[noreturn]] static void Refuse() {
    throw Failure("the log level cannot be set; run varnel trace as an administrator, or leave --level out");
  }

  static constexpr wchar_t kName[] = L"LogLevel";
  RegistryKey key_;
  bool madeKey_ = false;
  bool wasThere_ = false;
  DWORD type_ = REG_NONE;
  std::vector<BYTE> old_;
};

// The trace's mailslot, to which every process may write: products run under any account.
FileHandle MakeMailslot() {
  // SYSTEM, administrators and its owner: all; everyone, packaged programs and those of low integrity: to
  // write.
  constexpr wchar_t kRights[] =
      L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;S-1-3-4)(A;;GW;;;WD)(A;;GW;;;S-1-15-2-1)S:(ML;;NW;;;S-1-16-4096)";
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), nullptr, FALSE};
  ConvertStringSecurityDescriptorToSecurityDescriptorW(kRights, SDDL_REVISION_1,
                                                       &attributes.lpSecurityDescriptor, nullptr);
  const LocalMemory<void> owner(attributes.lpSecurityDescriptor);
  FileHandle mailslot(CreateMailslotW(kTraceMailslot, kLongest, kLook, &attributes));
  if (mailslot) return mailslot;
  throw Failure(GetLastError() == ERROR_ALREADY_EXISTS
                    ? "another program reads the trace already; end it first, there can be only one"
                    : "the trace mailslot cannot be made; the system's error is " +
                          std::to_string(GetLastError()));
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

void Read(HANDLE mailslot, const TraceOptions& options) {
  std::optional<ScopedLogLevel> level;
  if (options.level != 0) level.emplace(options.level);
  const ConsoleColours colours;
  const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(options.seconds) * 1000;
  TraceRecords records;
  char message[kLongest];
  while (!g_ended && (options.seconds == 0 || GetTickCount64() < end)) {
    DWORD read = 0;
    if (!ReadFile(mailslot, message, sizeof(message), &read, nullptr))
      continue;  // none within the time to look
    if (const auto record = records.Take({message, read}))
      PrintRecord(*record, options, static_cast<bool>(colours));
  }
}

}  // namespace

Status RunTrace(const TraceOptions& options) {
  const FileHandle mailslot = MakeMailslot();
  g_done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(&End, TRUE);
  Read(mailslot.Get(), options);
  SetEvent(g_done);
  return kDone;
}

}  // namespace varnel::tool
