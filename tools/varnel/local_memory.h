#pragma once

#include <windows.h>

#include <memory>

namespace varnel::tool {

struct LocalFreer {
  void operator()(void* memory) const noexcept { LocalFree(memory); }
};
// Owns what the system has allocated with LocalAlloc.
template <class T>
using LocalMemory = std::unique_ptr<T, LocalFreer>;

}  // namespace varnel::tool
