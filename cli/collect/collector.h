#pragma once

#include "collect/folder_watch.h"
#include "collect/segment_store.h"
#include "console/console.h"
#include "eventfile/event_files.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace varnel::tool {

struct CollectorOptions {
  std::vector<NativePath> folders;  // event folders, full, with a separator at their end
  bool mayBeMissing = false;        // a folder that is missing is no failure
  NativePath to;                    // likewise full
  std::uint64_t segmentBytes = 0;
  std::chrono::milliseconds every{};
  std::uint64_t diskBytes = 0;
};

// Takes event files as they appear into segments (docs/tool.md).
class Collector {
 public:
  explicit Collector(const CollectorOptions& options);
  // Takes the files that are in the folders now and closes the segment.
  [[nodiscard]] Status RunOnce();
  // Returns never.
  [[noreturn]] void Run();

 private:
  using Kind = KnownFile::Kind;

  void LookAtAll();
  void LookAt(std::size_t folder);
  void ForgetAbsent(std::size_t folder);
  void TakeNotices();
  void TakeNotice(const Notice& notice);
  // Reads the file unless it is known and unchanged.
  void Consider(std::size_t folder, const FolderFile& file);
  void Read(std::size_t folder, const FolderFile& file, KnownFile& known);
  void TakeEvents(std::size_t folder, const FolderFile& file, KnownFile& known);
  void PassOver(std::size_t folder, const FolderFile& file, KnownFile& known, Kind kind,
                const std::string& why);
  void Vanish(std::size_t folder, const NativePath& name);
  [[nodiscard]] KnownFolder& FolderOf(std::size_t folder) { return store_.Files()[numbers_[folder]]; }

  // False while nothing can be written, or the folder has as many segments as --max-disk allows.
  [[nodiscard]] bool HasRoom();
  void CloseIfDue();
  void Close();
  // After an error, nothing is written until the next look. An error is printed once.
  void Note(const FileError& error);

  const CollectorOptions options_;
  SegmentStore store_;
  std::vector<std::size_t> numbers_;  // of the folders in store_.Files()
  FolderWatch watch_;
  std::deque<Notice> notices_;
  EventFileReader reader_;
  unsigned look_ = 0;
  // Files that a look found to be absent, and when, until their notices have been taken.
  std::map<std::pair<std::size_t, NativePath>, std::chrono::steady_clock::time_point> forgotten_;
  bool isRetrying_ = false;                        // the current look reads unreadable files again
  std::chrono::steady_clock::duration listing_{};  // what the listings of the last look took
  std::uint64_t closedBytes_ = 0;
  bool isFull_ = false;             // --max-disk
  bool isBlocked_ = false;          // the last writing failed
  FileError failure_;               // the last error of writing, until something is written
  std::set<std::size_t> unlisted_;  // folders whose error has been printed
  Status status_ = kDone;
};

}  // namespace varnel::tool
