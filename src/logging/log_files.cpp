#include "logging/log_files.h"

#include "logging/levels.h"
#include "logging/log_rotation.h"
#include "logging/log_settings.h"

#include <algorithm>
#include <cstdio>

namespace varnel {
namespace {

constexpr std::int32_t kErrorLevels[] = {1, 5};

LogFiles g_files;

bool IsOpen(const LogFileSlot& slot) noexcept {
  return slot.file && slot.mutex != INVALID_HANDLE_VALUE;
}

// Holds the slot's mutex, if it has one and it comes in time.
class SlotLock {
 public:
  explicit SlotLock(const LogFileSlot& slot) noexcept : mutex_(slot.mutex) {
    if (!mutex_) return;
    const DWORD result = WaitForSingleObject(mutex_, slot.mutexWait);
    held_ = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
    timedOut_ = result == WAIT_TIMEOUT;
  }
  ~SlotLock() {
    if (held_) ReleaseMutex(mutex_);
  }
  SlotLock(const SlotLock&) = delete;
  SlotLock& operator=(const SlotLock&) = delete;

  bool TimedOut() const noexcept { return timedOut_; }

 private:
  HANDLE mutex_;
  bool held_ = false;
  bool timedOut_ = false;
};

// Returns the file's size after the write, in 32 bits as the size limit is.
DWORD AppendLine(HANDLE file, const LogLine& line, bool mutexLocked) noexcept {
  const DWORD sizeBefore = SetFilePointer(file, 0, nullptr, FILE_END);
  char process[32] = "";
  if (GetLogSettings().sharedLog) std::snprintf(process, sizeof(process), "\t%s", ProcessTag());
  char text[kLineCapacity];
  const int length = std::snprintf(text, sizeof(text), "%s\t%c\t#%d\t%s%s\t%s%s\r\n", line.stamp,
                                   LevelLetter(line.level), static_cast<int>(line.thread), line.facility,
                                   process, mutexLocked ? "[LOG MUTEX LOCKED] " : "", line.text);
  const int bytes = std::clamp(length, 0, static_cast<int>(sizeof(text)) - 1);
  DWORD written = 0;
  WriteFile(file, text, static_cast<DWORD>(bytes), &written, nullptr);
  return sizeBefore + written;
}

void WriteToSlot(LogFileSlot& slot, const char* path, const LogLine& line) noexcept {
  if (!IsOpen(slot)) return;
  const SlotLock lock(slot);
  if (!slot.file) return;  // closed while this thread waited
  const DWORD size = AppendLine(slot.file, line, lock.TimedOut());
  const LogSettings& settings = GetLogSettings();
  if (!settings.sharedLog && size >= settings.sizeLimit) RotateLogFile(slot, path, settings.backupCount);
}

void Close(LogFileSlot& slot) noexcept {
  if (!slot.file) return;
  CloseHandle(slot.file);
  slot.file = nullptr;
  if (slot.mutex && slot.mutex != INVALID_HANDLE_VALUE) CloseHandle(slot.mutex);
  slot.mutex = INVALID_HANDLE_VALUE;
}

}  // namespace

LogFiles& GetLogFiles() noexcept {
  return g_files;
}

LogFileNames LogFileNamesFor(const char* basePath) noexcept {
  LogFileNames names;
  std::snprintf(names.main, sizeof(names.main), "%s.log", basePath);
  std::snprintf(names.error, sizeof(names.error), "%s_error.log", basePath);
  std::snprintf(names.mainBackup, sizeof(names.mainBackup), "%s_backup.log", basePath);
  std::snprintf(names.errorBackup, sizeof(names.errorBackup), "%s_error_backup.log", basePath);
  return names;
}

HANDLE OpenLogFile(const char* path, DWORD disposition) noexcept {
  constexpr DWORD kSharing = FILE_SHARE_READ | FILE_SHARE_WRITE;
  if (!GetLogSettings().sharedLog)
    return CreateFileA(path, GENERIC_WRITE, kSharing, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  // A present but null access list lets every account write, whoever has made the file.
  SECURITY_DESCRIPTOR everyone;
  if (!InitializeSecurityDescriptor(&everyone, SECURITY_DESCRIPTOR_REVISION) ||
      !SetSecurityDescriptorDacl(&everyone, TRUE, nullptr, FALSE))
    return INVALID_HANDLE_VALUE;
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), &everyone, FALSE};
  return CreateFileA(path, GENERIC_WRITE, kSharing, &attributes, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void WriteToLogFiles(const LogLine& line) noexcept {
  if (!IsOpen(g_files.main) && !IsOpen(g_files.error)) return;
  const LogFileNames names = LogFileNamesFor(g_files.basePath);
  WriteToSlot(g_files.main, names.main, line);
  if (std::find(std::begin(kErrorLevels), std::end(kErrorLevels), line.level) != std::end(kErrorLevels))
    WriteToSlot(g_files.error, names.error, line);
}

void CloseLogFileSlots() noexcept {
  Close(g_files.main);
  Close(g_files.error);
}

}  // namespace varnel
