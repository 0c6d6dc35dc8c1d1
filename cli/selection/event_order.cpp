#include "selection/event_order.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <tuple>

namespace varnel::tool {

void EventOrder::Add(std::size_t file, std::size_t place, std::optional<std::chrono::sys_seconds> time) {
  constexpr std::size_t kBeside = 4096;  // so that the last ones are rarely sought
  entries_.push_back({time ? time->time_since_epoch().count() : std::numeric_limits<std::int64_t>::min(),
                      static_cast<std::uint32_t>(file), static_cast<std::uint32_t>(place)});
  if (last_ && entries_.size() / 2 >= std::max(*last_, kBeside)) KeepLast();
}

void EventOrder::Finish(bool isReverse) {
  if (last_) KeepLast();
  std::sort(entries_.begin(), entries_.end());
  if (isReverse) std::reverse(entries_.begin(), entries_.end());
  byFile_.resize(entries_.size());
  std::iota(byFile_.begin(), byFile_.end(), 0U);
  const auto largest =
      std::max_element(entries_.begin(), entries_.end(),
                       [](const Entry& one, const Entry& other) { return one.file < other.file; });
  std::vector<std::uint32_t> first(entries_.empty() ? 0 : largest->file + std::size_t{1}, UINT32_MAX);
  for (std::uint32_t rank = 0; rank < entries_.size(); ++rank) {
    std::uint32_t& earliest = first[entries_[rank].file];
    earliest = std::min(earliest, rank);
  }
  std::sort(byFile_.begin(), byFile_.end(), [&](std::uint32_t one, std::uint32_t other) {
    return std::tuple(first[entries_[one].file], entries_[one].place) <
           std::tuple(first[entries_[other].file], entries_[other].place);
  });
}

std::optional<EventOrder::FileEvents> EventOrder::NextFile() {
  if (next_ == byFile_.size()) return std::nullopt;
  FileEvents found{entries_[byFile_[next_]].file, {}};
  for (; next_ < byFile_.size() && entries_[byFile_[next_]].file == found.file; ++next_)
    found.events.push_back({byFile_[next_], entries_[byFile_[next_]].place});
  return found;
}

void EventOrder::KeepLast() {
  if (entries_.size() <= *last_) return;
  const auto kept = entries_.end() - static_cast<std::ptrdiff_t>(*last_);
  std::nth_element(entries_.begin(), kept, entries_.end());
  entries_.erase(entries_.begin(), kept);
}

}  // namespace varnel::tool
