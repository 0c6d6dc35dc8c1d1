#pragma once

#include "base/windows_handles.h"

namespace varnel {

// The mutex that every instance of this library in the logon session shares: one event file is written at a
// time. Empty when the system does not give it.
[[nodiscard]] inline KernelHandle OpenSaveMutex() noexcept {
  return KernelHandle(CreateMutexW(nullptr, FALSE, L"ORBAEVTINFMUTEX"));
}

// Holds the mutex, waiting as long as it takes. A mutex abandoned by a killed process counts as held; where
// there is no mutex the file is written all the same, since a report matters more than its turn.
class SaveMutexLock {
 public:
  explicit SaveMutexLock(HANDLE mutex) noexcept : mutex_(mutex) {
    const DWORD result = WaitForSingleObject(mutex_, INFINITE);
    held_ = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
  }
  ~SaveMutexLock() {
    if (held_) ReleaseMutex(mutex_);
  }
  SaveMutexLock(const SaveMutexLock&) = delete;
  SaveMutexLock& operator=(const SaveMutexLock&) = delete;

 private:
  HANDLE mutex_;
  bool held_;
};

}  // namespace varnel
