#pragma once

#include "base/locks.h"

#include <atomic>

namespace varnel {

// The facilities whose messages pass whatever their level. Any thread may read while another replaces the
// list: a reader sees the old list or the new one. Nothing here fails or throws.
class DetailList {
 public:
  static constexpr std::size_t kTextCapacity = 256;  // bytes of a list's text, terminator included

  // Nothing is freed at the end of the process, when the lock may belong to a thread that is gone: Clear does
  // it.
  constexpr DetailList() noexcept = default;
  DetailList(const DetailList&) = delete;
  DetailList& operator=(const DetailList&) = delete;

  // Takes the items of a zero-terminated ANSI text separated by ";" (empty items too), the first 15 of them.
  // Keeps the present list when there is no memory.
  void Replace(const char* text) noexcept;
  // The same for the text of a setting, unless it differs from the setting's last one in letter case at most.
  void TakeOver(const char (&text)[kTextCapacity]) noexcept;
  // Frees the list. The text that was last taken over stays known: taking it over again changes nothing.
  void Clear() noexcept;

  // True when some item equals the facility without regard to case.
  bool Contains(const char* facility) const noexcept;
  // False when Contains can only answer false; costs one load.
  bool MayContain() const noexcept { return table_.load(std::memory_order_relaxed) != nullptr; }

 private:
  struct Table;

  void Exchange(Table* replacement) noexcept;

  std::atomic<Table*> table_{nullptr};
  // Keeps a table alive while it is being read; the level filter answers most questions before this lock is
  // reached.
  mutable SRWLOCK readers_{};
  SRWLOCK takingOver_{};  // guards the text
  char takenOver_[kTextCapacity] = {};
};

}  // namespace varnel
