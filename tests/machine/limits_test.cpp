// What runs out: a full disk, and what a process holds over a long life.

#include "base/handles.h"
#include "machine/reports.h"
#include "support/captured_output.h"
#include "support/import_hook.h"
#include "support/process.h"

#include <windows.h>
#include <psapi.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <thread>

namespace varnel::test {
namespace {

// small_volume.sh mounts a volume of 2 MB and 100 files and names its drive.
class FullDisk : public AgentTest {
 protected:
  FullDisk() {
    const wchar_t* const drive = _wgetenv(L"VARNEL_VOLUME");
    EXPECT_NE(nullptr, drive) << "run by small_volume.sh";
    root = drive ? drive : L"S:";
    for (const auto& made : {agent, server, names}) std::filesystem::create_directory(root + made);
    SetUpAgent(root, root + server);
  }
  ~FullDisk() override {
    MakeRoom();
    for (const auto& made : {agent, server, names}) std::filesystem::remove_all(root + made);
  }

  FileHandle Create(const std::wstring& name) const {
    return FileHandle(CreateFileW((root + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
  }
  // Fills the volume up to so many bytes, or, for less than none, until it has no room for a file's name.
  void LeaveOnly(int left) const {
    for (int count = 0; left < 0 && Create(names + L"\\" + std::to_wstring(count)); ++count)
      ASSERT_LT(count, 1000);
    if (left < 0) return;
    const FileHandle filler = Create(L"\\filler");
    const std::vector<char> zeros(4096);
    DWORD written = 0;
    while (WriteFile(filler.Get(), zeros.data(), static_cast<DWORD>(zeros.size()), &written, nullptr))
      continue;
    ASSERT_EQ(static_cast<DWORD>(ERROR_DISK_FULL), GetLastError());
    if (left == 0) return;
    SetFilePointer(filler.Get(), -left, nullptr, FILE_END);
    ASSERT_TRUE(SetEndOfFile(filler.Get()));
  }
  void MakeRoom() const {
    DeleteFileW((root + L"\\filler").c_str());
    for (const auto& name : FilesIn(root + names)) DeleteFileW((root + names + L"\\" + name).c_str());
  }

  std::wstring root;
  const std::wstring agent = L"\\AgentEvents", server = L"\\ServerEvents", names = L"\\names";
};

TEST_F(FullDisk, RefusesEveryReportAndLeavesNothingBehindUntilThereIsRoom) {
  struct {
    const wchar_t* softwareId;
    std::size_t bodySize;
    int left;
    HRESULT expected;
    const char* line;
  } const rows[] = {
      {kServer, 200, 0, VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN,
       ".xml:  Couldn't write: No space left on device\n"},
      {kAgent, 200, 0, VARNEL_E_NOT_WRITTEN, ".xml. Couldn't write: No space left on device\n"},
      {kServer, 200'000, 102'400, VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN,
       "Couldn't write: No space left on device\n"},
      {kAgent, 200'000, 102'400, VARNEL_E_NOT_WRITTEN, "Couldn't write: No space left on device\n"},
      {kServer, 200, -1, VARNEL_E_NOT_WRITTEN, "couldn't create file "},
      {kAgent, 200, -1, VARNEL_E_NOT_WRITTEN, "Couldn't open to write: No space left on device\n"}};
  const Library library;
  int refused = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(Narrow(row.softwareId) + ", " + std::to_string(row.left) + " bytes left");
    const auto report = library.CreateReport();
    ASSERT_EQ(S_OK, FillMarked(*report, row.softwareId, L"full", row.bodySize));
    ASSERT_NO_FATAL_FAILURE(LeaveOnly(row.left));
    for (int i = 0; i < Count(5, 100); ++i, ++refused) {
      HRESULT result = S_OK;
      const std::string lines = OutputOf([&] { result = report->Save(); });
      ASSERT_EQ(row.expected, result);
      ASSERT_NE(lines.npos, lines.find(row.line)) << lines;
      ASSERT_TRUE(FilesIn(root + agent).empty() && FilesIn(root + server).empty());
    }
    MakeRoom();
    EXPECT_EQ(S_OK, report->Save());
    EXPECT_EQ(std::multiset<std::string>{"full"}, ReadReports({root + agent, root + server}).marks);
    TakeFiles(root + agent, row.softwareId == kAgent ? 1 : 0);
    TakeFiles(root + server, row.softwareId == kServer ? 1 : 0);
  }
  std::printf("figures: full disk: %d saves refused, then %zu whole reports\n", refused, std::size(rows));
}

// Resources that a process can run out of. WINE: 8 reports private memory as zero, so the page file usage is
// taken.
struct Usage {
  int handles = CountHandles();
  DWORD tlsSlot = TlsAlloc();  // the one that the next caller gets
  SIZE_T memory = 0;

  Usage() {
    TlsFree(tlsSlot);
    PROCESS_MEMORY_COUNTERS counters{};
    EXPECT_TRUE(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)));
    memory = counters.PagefileUsage;
    EXPECT_LT(0u, memory);
  }
};

class LongLife : public AgentTest {
 protected:
  LongLife() { SetNumber(kLog, L"LogLevel", 1); }

  // Does the work so many times and compares the use after the warm-up with that at the end.
  static void ExpectSteadyUse(const char* name, int warmUp, int times, const std::function<void(int)>& work) {
    for (int i = 0; i < warmUp; ++i) ASSERT_NO_FATAL_FAILURE(work(i));
    const Usage before;
    for (int i = warmUp; i < times; ++i) ASSERT_NO_FATAL_FAILURE(work(i));
    const Usage after;
    EXPECT_EQ(before.handles, after.handles);
    EXPECT_EQ(before.tlsSlot, after.tlsSlot);
    // A few pages to breathe; what each round left behind would be more.
    EXPECT_LE(after.memory, before.memory + 65'536);
    std::printf("figures: %s: %d times, handles %d to %d, TLS slot %lu to %lu, memory %zu to %zu KB\n", name,
                times, before.handles, after.handles, before.tlsSlot, after.tlsSlot,
                std::size_t{before.memory} / 1024, std::size_t{after.memory} / 1024);
  }

  void LoadReportUnload(HRESULT expected) const {
    {
      const Library library;
      const auto report = library.CreateReport();
      {
        const ImportHook noMemory(library.Module(), "malloc", &NoMemory);
        ASSERT_EQ(E_OUTOFMEMORY, Initialize(*report)) << "an exception leaves nothing behind either";
      }
      ASSERT_EQ(S_OK, FillMarked(*report, kServer, L"cycle", 200));
      ASSERT_EQ(expected, report->Save());
    }
    ASSERT_EQ(nullptr, GetModuleHandleW(L"varnel.dll"));
    TakeFiles(serverEvents, expected == S_OK ? 1 : 0);
  }
};

TEST_F(LongLife, LoadsAndUnloadsWithoutUsingTheProcessUp) {
  // Wine's own socket library leaves some eighty bytes behind at each of its unloads.
  const LoadedLibrary sockets(LoadLibraryW(L"ws2_32.dll"));
  const int cycles = Count(100, 3000);
  ExpectSteadyUse("load, save, unload", 40, cycles, [&](int) { LoadReportUnload(S_OK); });
  SetNumber(kFramework, L"Brenn Size", 1);
  ExpectSteadyUse("load, refused save, unload", 40, cycles,
                  [&](int) { LoadReportUnload(VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN); });
}

// Nothing of the library's may be in a thread's way when it raises an exception of its own, or the thread
// would be in there when the library goes.
TEST_F(LongLife, UnloadsWhileOtherThreadsRaiseExceptions) {
  std::atomic<int> caught = 0;
  std::vector<std::jthread> raisers;
  for (int i = 0; i < 2; ++i) {
    raisers.emplace_back([&](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        try {
          throw stop;
        } catch (const std::stop_token&) {
          ++caught;
        }
      }
    });
  }
  for (int i = 0; i < 1000; ++i) Library().CreateReport();
  raisers.clear();
  EXPECT_LT(1000, caught);
}

}  // namespace
}  // namespace varnel::test
