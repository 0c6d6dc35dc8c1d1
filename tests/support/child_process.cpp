#include "support/child_process.h"

#include <gtest/gtest.h>

namespace varnel::test {

ChildProcess::ChildProcess(std::wstring commandLine) {
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  EXPECT_TRUE(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &startup, &process));
  const KernelHandle thread(process.hThread);
  process_.Reset(process.hProcess);
}

DWORD ChildProcess::Wait(DWORD milliseconds) const {
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process_.Get(), milliseconds));
  DWORD status = STILL_ACTIVE;
  GetExitCodeProcess(process_.Get(), &status);
  return status;
}

void ChildProcess::Kill() const {
  if (process_) TerminateProcess(process_.Get(), 1);
}

}  // namespace varnel::test
