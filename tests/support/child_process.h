#pragma once

#include "base/windows_handles.h"

#include <string>

namespace varnel::test {

// A program in a process of its own, running from the constructor on. One that still runs when its owner goes
// is ended, so that nothing outlives a failed test.
class ChildProcess {
 public:
  explicit ChildProcess(std::wstring commandLine);
  ~ChildProcess() { Kill(); }
  ChildProcess(ChildProcess&&) noexcept = default;
  ChildProcess& operator=(ChildProcess&&) = delete;

  // Its exit status. A process that takes longer than that many milliseconds is a failure of the test.
  DWORD Wait(DWORD milliseconds) const;
  void Kill() const;

 private:
  KernelHandle process_;
};

}  // namespace varnel::test
