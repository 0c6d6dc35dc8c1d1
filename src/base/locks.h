#pragma once

#include <windows.h>

namespace varnel {

// The library uses slim reader/writer locks, because the C++ library's mutexes leak a TLS slot at every
// unload of the DLL. Slim locks need no destruction, so they can be taken while the process exits.

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

// Waits up to `milliseconds` for a mutex that several processes share, and holds it during its lifetime. A
// mutex that its owner abandoned is held too. Without a mutex (null), or after a timeout, the caller proceeds
// unlocked: writing the file matters more than its order.
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
