#include "logging/log_files.h"

#include "base/files.h"
#include "base/locks.h"
#include "logging/ansi_text.h"
#include "logging/log_settings.h"

#include <algorithm>
#include <cwchar>

namespace varnel {
namespace {

constexpr std::size_t kBackupPathCapacity = kLogPathCapacity + 32;  // characters; "_backup_10.log" fits

LogFiles g_files;

bool IsOpen(const LogFileSlot& slot) noexcept {
  return slot.file && slot.mutex != INVALID_HANDLE_VALUE;
}

// Returns the file's size in bytes after the write, modulo 2^32 like the size limit.
DWORD AppendLine(HANDLE file, const LogLine& line, bool mutexLocked) noexcept {
  const DWORD sizeBefore = SetFilePointer(file, 0, nullptr, FILE_END);
  char process[32] = "";
  if (GetLogSettings().sharedLog) FormatAnsi(process, sizeof(process), "\t%s", ProcessTag().text);
  char text[kLineCapacity];
  const std::size_t length = FormatAnsi(text, sizeof(text), "%s\t%c\t#%d\t%s%s\t%s%s\r\n", line.stamp,
                                        LevelLetter(line.level), static_cast<int>(line.thread), line.facility,
                                        process, mutexLocked ? "[LOG MUTEX LOCKED] " : "", line.text);
  DWORD written = 0;
  WriteFile(file, text, static_cast<DWORD>(length), &written, nullptr);
  return sizeBefore + written;
}

// The wide path of a log file and the paths of its backups.
class BackupNames {
 public:
  explicit BackupNames(const char* path) noexcept {
    MultiByteToWideChar(CP_ACP, 0, path, -1, current_, kLogPathCapacity);
    const wchar_t* const dot = std::wcsrchr(current_, L'.');
    stemLength_ = dot ? static_cast<int>(dot - current_) : static_cast<int>(std::wcslen(current_));
  }

  const wchar_t* Current() const noexcept { return current_; }

  void Backup(std::int32_t number, wchar_t (&name)[kBackupPathCapacity]) const noexcept {
    _snwprintf(name, kBackupPathCapacity - 1, L"%.*s%s_%d.log", stemLength_, current_, L"_backup", number);
    name[kBackupPathCapacity - 1] = L'\0';
  }

 private:
  wchar_t current_[kLogPathCapacity] = {};
  int stemLength_;
};

// False only if Windows answers "file not found". After any other error the move is tried.
bool MayExist(const wchar_t* path) noexcept {
  return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES || GetLastError() != ERROR_FILE_NOT_FOUND;
}

// The caller holds the slot's mutex.
void Rotate(LogFileSlot& slot, const char* path, std::int32_t backupCount) noexcept {
  const BackupNames names(path);
  wchar_t from[kBackupPathCapacity];
  wchar_t to[kBackupPathCapacity];
  for (std::int32_t number = backupCount - 1; number >= 1; --number) {
    names.Backup(number, from);
    if (!MayExist(from)) continue;
    names.Backup(number + 1, to);
    MoveFileExW(from, to, MOVEFILE_REPLACE_EXISTING);
  }
  CloseHandle(slot.file);
  names.Backup(1, to);
  MoveFileExW(names.Current(), to, MOVEFILE_REPLACE_EXISTING);
  slot.file = OpenLogFile(path, CREATE_ALWAYS);
}

void WriteToSlot(LogFileSlot& slot, const char* path, const LogLine& line) noexcept {
  if (!IsOpen(slot)) return;
  const MutexLock lock(slot.mutex, slot.mutexWait);
  if (!slot.file) return;  // closed while this thread waited
  const DWORD size = AppendLine(slot.file, line, lock.TimedOut());
  const LogSettings& settings = GetLogSettings();
  if (!settings.sharedLog && size >= settings.sizeLimit) Rotate(slot, path, settings.backupCount);
}

void Close(LogFileSlot& slot) noexcept {
  const HANDLE file = slot.file.exchange(nullptr);
  if (!file) return;
  CloseHandle(file);
  const HANDLE mutex = slot.mutex.exchange(INVALID_HANDLE_VALUE);
  if (mutex && mutex != INVALID_HANDLE_VALUE) CloseHandle(mutex);
}

}  // namespace

LogFiles& GetLogFiles() noexcept {
  return g_files;
}

LogFileNames LogFileNamesFor(const char* basePath) noexcept {
  LogFileNames names;
  FormatAnsi(names.main, sizeof(names.main), "%s.log", basePath);
  FormatAnsi(names.error, sizeof(names.error), "%s_error.log", basePath);
  FormatAnsi(names.mainBackup, sizeof(names.mainBackup), "%s_backup.log", basePath);
  FormatAnsi(names.errorBackup, sizeof(names.errorBackup), "%s_error_backup.log", basePath);
  return names;
}

HANDLE OpenLogFile(const char* path, DWORD disposition) noexcept {
  constexpr DWORD kSharing = FILE_SHARE_READ | FILE_SHARE_WRITE;
  constexpr DWORD kAttributes = FILE_ATTRIBUTE_NORMAL | kAnonymously;
  if (!GetLogSettings().sharedLog)
    return CreateFileA(path, GENERIC_WRITE, kSharing, nullptr, disposition, kAttributes, nullptr);
  // A present but null access list lets every account write, whoever has made the file.
  SECURITY_DESCRIPTOR everyone;
  if (!InitializeSecurityDescriptor(&everyone, SECURITY_DESCRIPTOR_REVISION) ||
      !SetSecurityDescriptorDacl(&everyone, TRUE, nullptr, FALSE))
    return INVALID_HANDLE_VALUE;
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), &everyone, FALSE};
  return CreateFileA(path, GENERIC_WRITE, kSharing, &attributes, disposition, kAttributes, nullptr);
}

void WriteToLogFiles(const LogLine& line) noexcept {
  if (!IsOpen(g_files.main) && !IsOpen(g_files.error)) return;
  const LogFileNames names = LogFileNamesFor(g_files.basePath);
  WriteToSlot(g_files.main, names.main, line);
  if (line.level == 1 || line.level == kLevelError) WriteToSlot(g_files.error, names.error, line);
}

void CloseLogFiles() noexcept {
  Close(g_files.main);
  Close(g_files.error);
  GetLogSettings().detailList.Clear();
}

}  // namespace varnel
