#pragma once

#include "support/import_hook.h"

#include <oleauto.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <utility>

namespace varnel::test {

// The library's heap: every allocation passes here, whether by new, malloc or SysAllocString. One of them can
// be made to fail. Used by one thread.
class WatchedHeap {
 public:
  explicit WatchedHeap(HMODULE library)
      : hooks_{{library, "malloc", &Malloc},           {library, "calloc", &Calloc},
               {library, "realloc", &Realloc},         {library, "free", &Free},
               {library, "SysAllocString", &SysAlloc}, {library, "SysFreeString", &SysFree}} {
    FailAllocation(0);
  }

  // 1 for the next allocation; 0 for none.
  static void FailAllocation(int number) { untilFailure_ = number; }
  static bool HasFailed() { return untilFailure_ < 0; }
  static void FailAll(bool all) { failsAll_ = all; }
  static std::size_t LiveBlocks() { return live_.size(); }
  static int Allocations() { return allocations_; }
  static std::size_t LiveBytes() { return bytes_; }
  // The most that there have been at a time since this was called last.
  static std::size_t TakePeakBytes() { return std::exchange(peak_, bytes_); }
  // For what the library has handed out.
  static void WINAPI SysFree(BSTR text) {
    Forget(text);
    SysFreeString(text);
  }

 private:
  template <class Allocate>
  static auto Count(std::size_t size, Allocate allocate) -> decltype(allocate()) {
    if (failsAll_) return nullptr;
    if (untilFailure_ > 0 && --untilFailure_ == 0)
      untilFailure_ = -1;
    else if (const auto block = allocate())
      return Remember(block, size), block;
    return nullptr;
  }
  static void Remember(void* block, std::size_t size) {
    live_[block] = size;
    bytes_ += size;
    peak_ = std::max(peak_, bytes_);
    ++allocations_;
  }
  static void Forget(void* block) {
    const auto known = live_.find(block);
    if (known == live_.end()) return;
    bytes_ -= known->second;
    live_.erase(known);
  }
  static void* Malloc(std::size_t size) {
    return Count(size, [&] { return std::malloc(size); });
  }
  static void* Calloc(std::size_t count, std::size_t size) {
    return Count(count * size, [&] { return std::calloc(count, size); });
  }
  static void* Realloc(void* block, std::size_t size) {
    void* const moved = Count(size, [&] { return std::realloc(block, size); });
    if (moved && moved != block) Forget(block);
    return moved;
  }
  static void Free(void* block) {
    Forget(block);
    std::free(block);
  }
  static BSTR WINAPI SysAlloc(const OLECHAR* text) {
    return Count(0, [&] { return SysAllocString(text); });
  }

  static inline int untilFailure_ = 0;
  static inline bool failsAll_ = false;
  static inline std::map<void*, std::size_t> live_;
  static inline std::size_t bytes_ = 0;
  static inline std::size_t peak_ = 0;
  static inline int allocations_ = 0;
  ImportHook hooks_[6];
};

}  // namespace varnel::test
