#pragma once

#include <windows.h>

#include <memory>

namespace varnel::tool {

struct LocalFreer {
  void operator()(void* memory) const noexcept { LocalFree(memory); }
};
// Owner of memory from LocalAlloc.
template <class T>
using LocalMemory = std::unique_ptr<T, LocalFreer>;

}  // namespace varnel::tool
