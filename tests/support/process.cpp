#include "support/process.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace varnel::test {

int Count(int shortForm, int longForm) {
  return std::getenv("VARNEL_SOAK") ? longForm : shortForm;
}

int CountHandles() {
  constexpr ULONG_PTR kMostHandles = 150;
  int handles = 0;
  DWORD flags = 0;
  for (ULONG_PTR value = 4; value <= 4 * kMostHandles; value += 4)
    handles += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) ? 1 : 0;
  EXPECT_LT(0, handles);
  EXPECT_LT(handles, static_cast<int>(kMostHandles)) << "there may be more";
  return handles;
}

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
