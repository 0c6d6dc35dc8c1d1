#pragma once

#include <atomic>
#include <cstdint>

namespace varnel {

// Lets one thread at a time search. A thread that has waited for a search in vain gives it up, so that no
// other thread waits for the same one; the search itself continues and ends as usual. Any thread may call.
class SearchTurn {
 public:
  // One word, so that a search that is given up is never a later one.
  struct alignas(std::uint64_t) Search {
    std::uint32_t thread = 0;  // 0 if no thread is searching
    std::uint16_t number = 0;  // tells the searches of one thread apart
    std::uint16_t isGivenUp = 0;
  };

  Search Current() const noexcept { return search_; }

  // Starts a search of this thread. Returns false if one is running.
  [[nodiscard]] bool Begin(std::uint32_t thread) noexcept {
    Search last = search_;
    const Search own{.thread = thread, .number = static_cast<std::uint16_t>(last.number + 1)};
    return last.thread == 0 && search_.compare_exchange_strong(last, own);
  }
  // Ends the search. For the thread that is searching.
  void End() noexcept { search_ = Search{.number = Current().number}; }
  // Marks the search as given up. Does nothing if it has ended.
  void GiveUp(Search awaited) noexcept {
    Search marked = awaited;
    marked.isGivenUp = 1;
    if (awaited.thread != 0) search_.compare_exchange_strong(awaited, marked);
  }

 private:
  std::atomic<Search> search_{};
  static_assert(std::atomic<Search>::is_always_lock_free);
};

}  // namespace varnel
