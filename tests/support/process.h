#pragma once

#include "base/handles.h"

#include <windows.h>

#include <string>

namespace varnel::test {

// How much a test does in its short form and in its long one, which runs when the environment variable
// VARNEL_SOAK is set.
int Count(int shortForm, int longForm);

// How many handles this process has open. Counted one by one: Wine answers the direct question with zero.
// Fails the test when there are so many that some may be missed.
int CountHandles();

// Whether this thread acts with another identity than its process.
inline bool Impersonates() {
  KernelHandle token;
  return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put()) != FALSE;
}

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
