#include "collect/folder_watch.h"
#include "console/streams.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace varnel::tool {

struct FolderWatch::System {
  std::vector<NativePath> folders;
  int queue = -1;
  std::map<int, std::size_t> watched;                // the index of a folder by its watch
  std::optional<std::pair<unsigned, Notice>> moved;  // a file that was moved away, with its cookie
};

FolderWatch::FolderWatch(std::vector<NativePath> folders)
    : system_(std::make_unique<System>(
          System{std::move(folders), inotify_init1(IN_NONBLOCK | IN_CLOEXEC), {}, {}})) {}

FolderWatch::~FolderWatch() {
  if (system_->queue >= 0) close(system_->queue);
}

void FolderWatch::Renew() {
  constexpr unsigned kChanges = IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_ONLYDIR;
  for (std::size_t i = 0; i < system_->folders.size(); ++i) {
    const int watch = inotify_add_watch(system_->queue, system_->folders[i].c_str(), kChanges);
    // Another folder may have the path now; the watch of a folder that is still the same keeps its number.
    std::erase_if(system_->watched, [&](const auto& entry) {
      if (entry.second != i || entry.first == watch) return false;
      inotify_rm_watch(system_->queue, entry.first);
      return true;
    });
    if (watch >= 0) system_->watched[watch] = i;
  }
}

void FolderWatch::Drain(std::deque<Notice>& notices) {
  alignas(inotify_event) char bytes[16 * 1024];
  std::optional<std::pair<unsigned, Notice>>& moved = system_->moved;
  // The two halves of a renaming come one after the other, but perhaps not in the same reading.
  const auto flush = [&] {
    if (moved) notices.push_back(std::exchange(moved, std::nullopt)->second);
  };
  bool isFirst = true;
  for (ssize_t count; (count = read(system_->queue, bytes, sizeof(bytes))) > 0; isFirst = false) {
    inotify_event event;
    for (const char* at = bytes; at < bytes + count; at += sizeof(event) + event.len) {
      std::memcpy(&event, at, sizeof(event));
      const auto folder = system_->watched.find(event.wd);
      if (event.mask & IN_IGNORED) system_->watched.erase(event.wd);
      if (event.mask & IN_Q_OVERFLOW) notices.emplace_back();
      if (event.len == 0 || event.mask & IN_ISDIR || folder == system_->watched.end()) continue;
      Notice notice{Notice::Kind::kGone, folder->second, at + sizeof(event)};
      if (event.mask & IN_MOVED_TO && moved && moved->first == event.cookie)
        moved->second.kind = Notice::Kind::kRenamed;
      flush();
      if (event.mask & IN_MOVED_FROM) {
        moved.emplace(event.cookie, std::move(notice));
        continue;
      }
      if (!(event.mask & IN_DELETE)) notice.kind = Notice::Kind::kCame;
      notices.push_back(std::move(notice));
    }
  }
  if (isFirst) flush();
}

void FolderWatch::Wait(std::chrono::milliseconds most) {
  if (system_->queue < 0) return Pause(most);
  pollfd waiting{system_->queue, POLLIN, 0};
  poll(&waiting, 1, static_cast<int>(most.count()));
}

}  // namespace varnel::tool
