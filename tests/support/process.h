#pragma once

#include "base/handles.h"

#include <windows.h>

#include <string>

namespace varnel::test {

// Returns `longForm` if the environment variable VARNEL_SOAK is set, otherwise `shortForm`.
int Count(int shortForm, int longForm);

// Returns the number of open handles of this process. Fails the test if there are too many to count.
// WINE: 8's GetProcessHandleCount returns 0, so handles are tried one by one.
int CountHandles();

// True if this thread impersonates.
inline bool Impersonates() {
  KernelHandle token;
  return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put()) != FALSE;
}

// Runs a program; fails the test if it cannot be started. The destructor ends it, so that no process outlives
// a failed test.
class ChildProcess {
 public:
  explicit ChildProcess(std::wstring commandLine);
  ~ChildProcess() { Kill(); }
  ChildProcess(ChildProcess&&) noexcept = default;
  ChildProcess& operator=(ChildProcess&&) = delete;

  // Returns the exit status. Fails the test if the process runs longer than `milliseconds`.
  DWORD Wait(DWORD milliseconds) const;
  // Ends the process with status 1, without waiting for its end.
  void Kill() const;

 private:
  KernelHandle process_;
};

}  // namespace varnel::test
