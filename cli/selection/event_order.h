#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <tuple>
#include <vector>

namespace varnel::tool {

// Selected events in the order of their times. Events without a time are the oldest; of equal ones, the first
// that was added. Takes 16 bytes an event; after Finish also 4 an event and 4 a file.
class EventOrder {
 public:
  // Keeps the last events only, if `last` has a number.
  explicit EventOrder(std::optional<std::size_t> last) : last_(last) {}
  // Adds an event: the number of its file, and its place there.
  void Add(std::size_t file, std::size_t place, std::optional<std::chrono::sys_seconds> time);

  // An event of a file, and its rank in the order.
  struct Ranked {
    std::uint32_t rank;
    std::uint32_t place;
  };
  // The events of a file, in the order of the file.
  struct FileEvents {
    std::size_t file = 0;
    std::vector<Ranked> events;
  };
  // Sorts the events. Call it once, after the last Add.
  void Finish(bool isReverse);
  [[nodiscard]] std::size_t Size() const { return entries_.size(); }
  // Returns the events of the next file, in the order of each file's first event; nothing after the last.
  [[nodiscard]] std::optional<FileEvents> NextFile();

 private:
  struct Entry {
    std::int64_t time;
    std::uint32_t file;
    std::uint32_t place;
    bool operator<(const Entry& other) const {
      return std::tie(time, file, place) < std::tie(other.time, other.file, other.place);
    }
  };
  void KeepLast();

  const std::optional<std::size_t> last_;
  std::vector<Entry> entries_;
  std::vector<std::uint32_t> byFile_;  // ranks, the events of each file together
  std::size_t next_ = 0;               // in byFile_
};

}  // namespace varnel::tool
