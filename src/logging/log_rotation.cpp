#include "logging/log_rotation.h"

#include <cstdio>
#include <cwchar>

namespace varnel {
namespace {

constexpr std::size_t kWidePathCapacity =
    kLogPathCapacity + 32;  // characters, with room for "_backup_10.log"

// The names that one log file takes in its life.
class BackupNames {
 public:
  explicit BackupNames(const char* path) noexcept {
    MultiByteToWideChar(CP_ACP, 0, path, -1, current_, kLogPathCapacity);
    const wchar_t* const dot = std::wcsrchr(current_, L'.');
    stemLength_ = dot ? static_cast<int>(dot - current_) : static_cast<int>(std::wcslen(current_));
  }

  const wchar_t* Current() const noexcept { return current_; }

  void Backup(std::int32_t number, wchar_t (&name)[kWidePathCapacity]) const noexcept {
    _snwprintf(name, kWidePathCapacity - 1, L"%.*s%s_%d.log", stemLength_, current_, L"_backup", number);
    name[kWidePathCapacity - 1] = L'\0';
  }

 private:
  wchar_t current_[kLogPathCapacity] = {};
  int stemLength_;
};

// Only a plain "not found" means that a file is not there: whatever else keeps it from being seen, moving it
// is tried.
bool MayExist(const wchar_t* path) noexcept {
  return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES || GetLastError() != ERROR_FILE_NOT_FOUND;
}

}  // namespace

void RotateLogFile(LogFileSlot& slot, const char* path, std::int32_t backupCount) noexcept {
  const BackupNames names(path);
  wchar_t from[kWidePathCapacity];
  wchar_t to[kWidePathCapacity];
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

}  // namespace varnel
