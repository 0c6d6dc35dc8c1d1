#pragma once

#include "collect/durable_files.h"
#include "collect/known_files.h"
#include "collect/position_file.h"

#include <cstddef>
#include <string>

namespace varnel::tool {

// The event files that a follower has shown, in a file that survives its end (varnel show --state).
class ShownFiles {
 public:
  // Creates the file if it is missing, and locks it: one follower at a time can use it. Throws Failure.
  explicit ShownFiles(const NativePath& state);

  // An event file as it was before it was read.
  struct Seen {
    bool isShown = false;
    std::size_t folder = 0;
    FolderFile file;
  };
  [[nodiscard]] Seen Look(const NativePath& path);
  // Adds a file that has been shown. Write makes that last, and must follow the output of its events.
  void Add(const Seen& seen);
  // Throws Failure if the file cannot be written.
  void Write();

 private:
  // Forgets the files that have been deleted, so that the state does not grow without end.
  void Rewrite();

  const NativePath path_;
  const FileLock lock_;
  PositionFile position_;
  KnownFiles files_;
  std::string records_;       // of the files that have been added since the last Write
  std::size_t appended_ = 0;  // bytes since the last Rewrite
  std::size_t rewritten_ = 0;
};

}  // namespace varnel::tool
