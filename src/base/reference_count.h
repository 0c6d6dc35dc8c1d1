#pragma once

#include <windows.h>

namespace varnel {

// The count of a COM object, changed with interlocked operations. Starts at one, for whoever makes the
// object.
class ReferenceCount {
 public:
  ULONG Increment() noexcept { return static_cast<ULONG>(InterlockedIncrement(&count_)); }
  // The object is to be destroyed when this returns 0.
  [[nodiscard]] ULONG Decrement() noexcept { return static_cast<ULONG>(InterlockedDecrement(&count_)); }

 private:
  volatile LONG count_ = 1;
};

}  // namespace varnel
