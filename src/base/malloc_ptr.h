#pragma once

#include <cstdlib>
#include <memory>

namespace varnel {

struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

// Owner of memory from malloc, for allocations that fail without an exception.
template <class T>
using MallocPtr = std::unique_ptr<T, FreeDeleter>;

// Allocates `count` zero-filled elements. Returns null if there is no memory or the size overflows.
template <class T>
[[nodiscard]] MallocPtr<T[]> AllocateZeroed(std::size_t count) noexcept {
  return MallocPtr<T[]>(static_cast<T*>(std::calloc(count, sizeof(T))));
}

}  // namespace varnel
