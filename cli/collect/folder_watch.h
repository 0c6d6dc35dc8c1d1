#pragma once

#include "console/text.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

namespace varnel::tool {

// A change in a watched folder.
struct Notice {
  enum class Kind {
    kCame,     // a file was finished, changed, moved here, or got this name
    kGone,     // a file was deleted, or moved to another folder
    kRenamed,  // a file had this name and has another one in the same folder
    kLost,     // there were more notices than the system keeps; the other members are empty
  };
  Kind kind = Kind::kLost;
  std::size_t folder = 0;
  NativePath name;
};

// Change notifications of the system: folder_watch_windows.cpp and folder_watch_posix.cpp. A folder that
// cannot be watched, for example on some network drives, gives no notices.
class FolderWatch {
 public:
  // The paths end in a separator. Notices have their indexes.
  explicit FolderWatch(std::vector<NativePath> folders);
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Starts to watch the folders that are not watched yet, for example because they were missing.
  void Renew();
  // Appends the notices since the last call, in order. Call it often: the system keeps few.
  void Drain(std::deque<Notice>& notices);
  // Waits until there are notices, but not longer than this time.
  void Wait(std::chrono::milliseconds most);

 private:
  struct System;
  const std::unique_ptr<System> system_;
};

}  // namespace varnel::tool
