#pragma once

#include "base/locks.h"

#include <atomic>

namespace varnel {

// The list of facilities whose messages pass the filter at every level. Any thread may read while another
// replaces the list: a reader sees either the old list or the new one. No function fails or throws.
class DetailList {
 public:
  static constexpr std::size_t kTextCapacity = 256;  // bytes of a list's text, terminator included

  // There is no destructor: at process exit a terminated thread may still hold the lock. Clear frees the
  // list.
  constexpr DetailList() noexcept = default;
  DetailList(const DetailList&) = delete;
  DetailList& operator=(const DetailList&) = delete;

  // Replaces the list by the first 15 items of `text`: zero-terminated ANSI, separated by ";", empty items
  // included, so that an empty text is one item. Keeps the present list if there is no memory.
  void Replace(const char* text) noexcept;
  // Replaces the list by `text` and remembers `text`, even if there is no memory for the list. Does nothing
  // if `text` equals the text remembered last, compared without regard to case.
  void TakeOver(const char (&text)[kTextCapacity]) noexcept;
  // Frees the list but not the remembered text: TakeOver with the same text then leaves the list empty.
  void Clear() noexcept;

  // True if an item equals `facility`, compared without regard to case.
  bool Contains(const char* facility) const noexcept;
  // False if the list is empty, so that Contains would return false for every facility. Costs one load.
  bool MayContain() const noexcept { return table_.load(std::memory_order_relaxed) != nullptr; }

 private:
  struct Table;

  void Exchange(Table* replacement) noexcept;

  std::atomic<Table*> table_{nullptr};
  mutable SRWLOCK readers_{};  // keeps a table alive while Contains reads it
  SRWLOCK takingOver_{};       // guards takenOver_
  char takenOver_[kTextCapacity] = {};
};

}  // namespace varnel
