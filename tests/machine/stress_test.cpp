#include "machine/reports.h"
#include "support/process.h"

#include <atomic>
#include <cstdio>
#include <thread>

namespace varnel::test {
namespace {

class Workers : public MachineAgentTest {
 protected:
  // Level 1: nobody reads what workers log.
  Workers() { SetNumber(kLog, L"LogLevel", 1); }

  static ChildProcess StartWorker(const std::wstring& name, int threads, int reports, int bodySize) {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return ChildProcess(std::wstring(program) + L" --worker " + name + L' ' + std::to_wstring(threads) +
                        L' ' + std::to_wstring(reports) + L' ' + std::to_wstring(bodySize));
  }
};

// Neither readers of the folders nor the end of another writer, in the middle of a file or with the mutex in
// its hand, disturb a writer.
TEST_F(Workers, LoseNothingWhileOthersReadAndAreKilled) {
  constexpr int kProcesses = 8;
  constexpr int kThreads = 4;
  const int reports = Count(10, 100);
  const int kills = Count(15, 100);
  std::atomic<int> looks = 0;
  std::jthread reader([&](const std::stop_token& stop) {
    for (; !stop.stop_requested(); Sleep(1))
      for (const auto& where : {agentEvents, serverEvents})
        for (const auto& file : FilesIn(where)) looks += ReadBytes(where + L"\\" + file).empty() ? 0 : 1;
  });
  std::vector<ChildProcess> workers;
  for (int i = 0; i < kProcesses; ++i)
    workers.push_back(StartWorker(L"worker" + std::to_wstring(i), kThreads, reports, 8000));
  // Most of a victim's time is its turn to write: its reports are large.
  for (int i = 0; i < kills; ++i) {
    const ChildProcess victim = StartWorker(L"victim", 2, 1'000'000, 1'000'000);
    Sleep(static_cast<DWORD>(150 + 37 * i % 200));
    victim.Kill();
    EXPECT_EQ(1u, victim.Wait(60'000));
  }
  for (const auto& worker : workers) EXPECT_EQ(0u, worker.Wait(300'000));
  reader.request_stop();
  reader.join();

  const Reports saved = ReadReports({agentEvents, serverEvents});
  for (int i = 0; i < kProcesses * kThreads * reports; ++i) {
    const int worker = i / reports / kThreads;
    const std::string mark = "worker" + std::to_string(worker) + "-" +
                             std::to_string(i / reports % kThreads) + "-" + std::to_string(i % reports);
    EXPECT_EQ(1u, saved.marks.count(mark)) << mark;
  }
  EXPECT_LE(saved.cut, 2u * static_cast<unsigned>(kills)) << "a kill cuts one report of each thread at most";
  std::printf("figures: writers: %zu whole reports, %d kills, %zu files cut, %d looks of a reader\n",
              saved.marks.size(), kills, saved.cut, looks.load());
}

}  // namespace
}  // namespace varnel::test
