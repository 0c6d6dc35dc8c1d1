// Part of <varnel/testing.hpp>: the faults that an Agent can cause.
#pragma once

#include <varnel/system.h>

#include <cstddef>

namespace varnel::testing {

// What can fail in a captured library. The comment says what counts as a call.
enum class Fault : std::size_t {
  kDiskFull,      // writing an event file: half of it is written
  kAccessDenied,  // creating an event file
  kNoMemory,      // allocating memory, for whatever the library needs it
  kMutexHeld,     // waiting for the save mutex: the wait ends when Agent::Recover is called
};

inline constexpr unsigned kFromNowOn = 0;

namespace detail {

class ExclusiveLock {
 public:
  explicit ExclusiveLock(SRWLOCK& lock) noexcept : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
  ~ExclusiveLock() { ReleaseSRWLockExclusive(&lock_); }
  ExclusiveLock(const ExclusiveLock&) = delete;
  ExclusiveLock& operator=(const ExclusiveLock&) = delete;

 private:
  SRWLOCK& lock_;
};

// Counts the calls of each kind. May be used by several threads.
class Faults {
 public:
  void Arm(Fault fault, unsigned atCall) noexcept {
    const ExclusiveLock lock(lock_);
    Of(fault) = {true, atCall, 0};
  }
  void DisarmAll() noexcept {
    const ExclusiveLock lock(lock_);
    for (State& state : states_) state.isArmed = false;
  }
  unsigned Happened(Fault fault) noexcept {
    const ExclusiveLock lock(lock_);
    return Of(fault).happened;
  }
  // Called at each call of this kind. Returns true if it is to fail.
  bool HappensNow(Fault fault) noexcept {
    const ExclusiveLock lock(lock_);
    State& state = Of(fault);
    if (!state.isArmed) return false;
    if (state.atCall > 1) {
      --state.atCall;
      return false;
    }
    state.isArmed = state.atCall == kFromNowOn;
    ++state.happened;
    return true;
  }

 private:
  struct State {
    bool isArmed = false;
    unsigned atCall = kFromNowOn;  // 1 for the next call
    unsigned happened = 0;
  };

  State& Of(Fault fault) noexcept { return states_[static_cast<std::size_t>(fault)]; }

  SRWLOCK lock_{};
  State states_[4];
};

}  // namespace detail
}  // namespace varnel::testing
