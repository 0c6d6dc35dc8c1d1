#pragma once

#include <windows.h>

namespace varnel {

// The C++ library's mutexes leave a TLS slot behind at every unload of the DLL, so the system's slim locks
// are used directly. They need no destruction, so they also serve calls that come while the process ends.

class SharedLock {
 public:
  explicit SharedLock(SRWLOCK& lock) noexcept : lock_(lock) { AcquireSRWLockShared(&lock_); }
  ~SharedLock() { ReleaseSRWLockShared(&lock_); }
  SharedLock(const SharedLock&) = delete;
  SharedLock& operator=(const SharedLock&) = delete;

 private:
  SRWLOCK& lock_;
};

class ExclusiveLock {
 public:
  explicit ExclusiveLock(SRWLOCK& lock) noexcept : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
  ~ExclusiveLock() { ReleaseSRWLockExclusive(&lock_); }
  ExclusiveLock(const ExclusiveLock&) = delete;
  ExclusiveLock& operator=(const ExclusiveLock&) = delete;

 private:
  SRWLOCK& lock_;
};

// Holds a mutex that processes share, if it comes within so many milliseconds. A mutex that a killed process
// abandoned counts as held. Without a mutex (null), or when it does not come, the caller goes on unlocked:
// what these mutexes order matters more than the order.
class MutexLock {
 public:
  MutexLock(HANDLE mutex, DWORD milliseconds) noexcept : mutex_(mutex) {
    if (mutex_) result_ = WaitForSingleObject(mutex_, milliseconds);
  }
  ~MutexLock() {
    if (result_ == WAIT_OBJECT_0 || result_ == WAIT_ABANDONED) ReleaseMutex(mutex_);
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  bool TimedOut() const noexcept { return result_ == WAIT_TIMEOUT; }
  bool WasAbandoned() const noexcept { return result_ == WAIT_ABANDONED; }

 private:
  HANDLE mutex_;
  DWORD result_ = WAIT_FAILED;
};

}  // namespace varnel
