#include "base/windows_handles.h"
#include "stress/marked_report.h"
#include "support/captured_output.h"
#include "support/handle_count.h"
#include "support/soak.h"

#include <windows.h>
#include <psapi.h>

#include <cstdio>

namespace varnel::test {
namespace {

// What a process can run out of.
struct Usage {
  int handles = 0;
  DWORD tlsSlot = 0;  // the one that the next caller gets
  SIZE_T memory = 0;  // private bytes
};

// Memory is what the page file stands for: Wine answers the direct question with zero.
Usage Measure() {
  Usage usage;
  usage.handles = CountHandles();
  usage.tlsSlot = TlsAlloc();
  TlsFree(usage.tlsSlot);
  PROCESS_MEMORY_COUNTERS memory{};
  EXPECT_TRUE(GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory)));
  usage.memory = memory.PagefileUsage;
  EXPECT_LT(0u, usage.memory);
  return usage;
}

// Does the work so many times and compares the use after the warm-up with that at the end.
template <class Work>
void ExpectSteadyUse(const char* name, int warmUp, int times, Work work) {
  const ULONGLONG begin = GetTickCount64();
  Usage before;
  for (int i = 0; i < times; ++i) {
    if (i == warmUp) before = Measure();
    ASSERT_NO_FATAL_FAILURE(work(i));
  }
  const Usage after = Measure();
  EXPECT_EQ(before.handles, after.handles);
  EXPECT_EQ(before.tlsSlot, after.tlsSlot);
  // A few pages to breathe; what each round left behind would be more.
  constexpr SIZE_T kBreath = 65'536;
  EXPECT_LE(after.memory, before.memory + kBreath);
  std::printf(
      "figures: %s: %d times, handles %d to %d, TLS slot %lu to %lu, memory %llu to %llu KB, %.1f s\n", name,
      times, before.handles, after.handles, before.tlsSlot, after.tlsSlot, before.memory / 1024,
      after.memory / 1024, static_cast<double>(GetTickCount64() - begin) / 1000);
}

class LongLife : public AgentTest {
 protected:
  LongLife() { SetMachineNumber(kLog, L"LogLevel", 1); }

  // Returns how many there were.
  static int RemoveReports(const std::wstring& where) {
    int removed = 0;
    for (const auto& file : FilesIn(where)) removed += DeleteFileW((where + L"\\" + file).c_str()) ? 1 : 0;
    return removed;
  }

  // The process's life with the library between two loads.
  void LoadReportUnload(HRESULT expected) const {
    {
      const Library library;
      const auto report = library.CreateReport();
      ASSERT_EQ(S_OK, FillMarked(*report, kServer, L"cycle", 200));
      ASSERT_EQ(expected, report->Save());
    }
    ASSERT_EQ(nullptr, GetModuleHandleW(L"varnel.dll"));
    ASSERT_EQ(expected == S_OK ? 1 : 0, RemoveReports(serverEvents));
  }
};

TEST_F(LongLife, LoadsAndUnloadsWithoutUsingTheProcessUp) {
  // Wine's own socket library leaves some eighty bytes behind at each of its unloads.
  const LoadedLibrary sockets(LoadLibraryW(L"ws2_32.dll"));
  const int cycles = Count(150, 3000);
  const auto run = [&](const char* name, HRESULT expected) {
    ExpectSteadyUse(name, 50, cycles, [&](int) { LoadReportUnload(expected); });
  };
  run("load, save, unload", S_OK);
  SetMachineNumber(kFramework, L"Brenn Size", 1);
  run("load, refused save, unload", kRefused);
}

TEST_F(LongLife, OneLoadServesAnyNumberOfReports) {
  constexpr int kReportsOfOneObject = 20;
  const Library library;
  ComPtr<IOrbaEventInf3> report;
  int forServer = 0;
  int forAgent = 0;
  const int reports = Count(3000, 50'000);
  ExpectSteadyUse("reports in one process", 1000, reports, [&](int i) {
    if (i % kReportsOfOneObject == 0) {
      report = library.CreateReport();
      const bool toServer = i / kReportsOfOneObject % 2 == 0;
      ASSERT_EQ(S_OK, FillMarked(*report, toServer ? kServer : kAgent, std::to_wstring(i), 200));
    }
    ASSERT_EQ(S_OK, report->Save());
    if (i % kReportsOfOneObject != kReportsOfOneObject - 1) return;
    forServer += RemoveReports(serverEvents);
    forAgent += RemoveReports(agentEvents);
  });
  EXPECT_EQ(reports / 2, forServer);
  // Names in the agent's folder may clash: one in ten thousand of those that a thread saves in one
  // millisecond.
  constexpr int kClashes = 20;
  EXPECT_LE(forAgent, reports / 2);
  EXPECT_GE(forAgent + kClashes, reports / 2);
}

// One object that is never let go, used badly: refused, set up twice, with every line logged.
TEST_F(LongLife, OneObjectMayBeSetUpAnyNumberOfTimes) {
  SetMachineNumber(kLog, L"LogLevel", 8);
  SetMachineText(kLog, L"LogFlags", L"U");
  folder.MakeFolder(L"data");
  const std::wstring filter = folder.File(L"data\\EvtFiltr.ini");
  const Library library;
  const auto report = library.CreateReport();
  const int rounds = Count(300, 3000);
  ExpectSteadyUse("one object set up again and again", 100, rounds, [&](int) {
    const CapturedOutput output;
    WriteBytes(filter, "DisabledEvent=0;");
    ASSERT_EQ(kDisabled, Initialize(*report));
    DeleteFileW(filter.c_str());
    ASSERT_EQ(S_OK, Initialize(*report));
    ASSERT_EQ(S_OK, FillMarked(*report, kServer, L"again", 200));
    ASSERT_EQ(S_OK, report->Save());
    ASSERT_EQ(S_OK, report->DeInitialize());
    RemoveReports(serverEvents);
  });
}

}  // namespace
}  // namespace varnel::test
