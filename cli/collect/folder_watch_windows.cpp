#include "base/files.h"
#include "collect/folder_watch.h"
#include "console/streams.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace varnel::tool {
namespace {

// The largest buffer that network drives accept.
constexpr std::size_t kBuffer = 64 * 1024;

Notice::Kind KindOf(DWORD action) {
  if (action == FILE_ACTION_REMOVED) return Notice::Kind::kGone;
  return action == FILE_ACTION_RENAMED_OLD_NAME ? Notice::Kind::kRenamed : Notice::Kind::kCame;
}

// The watch of one folder. Windows writes into it until the destructor returns, so it never moves.
class Watch {
 public:
  explicit Watch(std::size_t folder)
      : folder_(folder), changed_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
  ~Watch() { Stop(); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  void Start(const NativePath& path) {
    if (open_) return;
    open_.Reset(CreateFileW(path.c_str(), FILE_LIST_DIRECTORY, kShareAll, nullptr, OPEN_EXISTING,
                            FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED | kAnonymously, nullptr));
    Ask();
  }
  [[nodiscard]] HANDLE Changed() const { return open_ ? changed_.Get() : nullptr; }

  void Drain(std::deque<Notice>& notices) {
    while (open_ && HasOverlappedIoCompleted(&asked_)) {
      DWORD size = 0;
      if (!GetOverlappedResult(open_.Get(), &asked_, &size, FALSE)) {
        // The folder has been deleted, or cannot be watched.
        const bool isOverflow = GetLastError() == ERROR_NOTIFY_ENUM_DIR;
        if (!isOverflow) return open_.Reset();
        size = 0;
      }
      if (size == 0) notices.emplace_back();
      Take(size, notices);
      Ask();
    }
  }

 private:
  void Ask() {
    constexpr DWORD kChanges =
        FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
    asked_ = OVERLAPPED{};
    asked_.hEvent = changed_.Get();
    if (open_ && !ReadDirectoryChangesW(open_.Get(), buffer_.data(), static_cast<DWORD>(buffer_.size()),
                                        FALSE, kChanges, nullptr, &asked_, nullptr))
      open_.Reset();
  }
  void Stop() {
    if (!open_) return;
    DWORD size = 0;
    CancelIo(open_.Get());
    GetOverlappedResult(open_.Get(), &asked_, &size, TRUE);
    open_.Reset();
  }
  void Take(DWORD size, std::deque<Notice>& notices) {
    FILE_NOTIFY_INFORMATION change{};
    for (std::size_t at = 0; at < size; at += change.NextEntryOffset) {
      std::memcpy(&change, buffer_.data() + at, offsetof(FILE_NOTIFY_INFORMATION, FileName));
      std::wstring name(change.FileNameLength / sizeof(wchar_t), L'\0');
      std::memcpy(name.data(), buffer_.data() + at + offsetof(FILE_NOTIFY_INFORMATION, FileName),
                  change.FileNameLength);
      notices.push_back({KindOf(change.Action), folder_, std::move(name)});
      if (change.NextEntryOffset == 0) return;
    }
  }

  const std::size_t folder_;
  const KernelHandle changed_;
  FileHandle open_;
  OVERLAPPED asked_{};
  alignas(DWORD) std::array<char, kBuffer> buffer_{};
};

}  // namespace

struct FolderWatch::System {
  std::vector<NativePath> folders;
  std::deque<Watch> watches;
};

FolderWatch::FolderWatch(std::vector<NativePath> folders)
    : system_(std::make_unique<System>(System{std::move(folders), {}})) {
  for (std::size_t i = 0; i < system_->folders.size(); ++i) system_->watches.emplace_back(i);
}

FolderWatch::~FolderWatch() = default;

void FolderWatch::Renew() {
  for (std::size_t i = 0; i < system_->folders.size(); ++i) system_->watches[i].Start(system_->folders[i]);
}

void FolderWatch::Drain(std::deque<Notice>& notices) {
  for (Watch& watch : system_->watches) watch.Drain(notices);
}

void FolderWatch::Wait(std::chrono::milliseconds most) {
  std::vector<HANDLE> events;
  for (const Watch& watch : system_->watches)
    if (watch.Changed() && events.size() < MAXIMUM_WAIT_OBJECTS) events.push_back(watch.Changed());
  if (events.empty()) return Pause(most);
  WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE,
                         static_cast<DWORD>(most.count()));
}

}  // namespace varnel::tool
