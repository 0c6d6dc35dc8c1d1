#include "base/files.h"
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

// Takes event files as soon as the system lets it, by each way that a consumer has.
class Consumer {
 public:
  Consumer(const TempFolder& folder, const std::initializer_list<std::wstring>& from)
      : taken(folder.MakeFolder(L"taken")), from_(from), other_(folder.File(L"other")) {}

  void TakeAll() {
    for (const auto& where : from_)
      for (const auto& file : FilesIn(where)) Take(where + L"\\" + file, taken + L"\\" + file);
  }

  const std::wstring taken;

 private:
  void Take(const std::wstring& path, const std::wstring& to) {
    switch (++turn_ % 3) {
      case 0:
        MoveFileExW(path.c_str(), to.c_str(), 0);
        return;
      case 1:
        WriteBytes(other_, "other");
        if (ReplaceFileW(path.c_str(), other_.c_str(), to.c_str(), 0, nullptr, nullptr))
          DeleteFileW(path.c_str());
        return;
      default:
        const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ | DELETE, kShareAll, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
        if (file) CopyFileW(path.c_str(), to.c_str(), TRUE);
    }
  }

  std::vector<std::wstring> from_;
  std::wstring other_;
  unsigned turn_ = 0;
};

TEST_F(Workers, WriteWholeFilesWhileAConsumerTakesThemAway) {
  const int saves = Count(5, 60);  // of each
  const Library library;
  const auto forServer = library.CreateReport(), forAgent = library.CreateReport();
  ASSERT_EQ(S_OK, FillMarked(*forServer, kServer, L"server", 4'000'000));
  ASSERT_EQ(S_OK, FillMarked(*forAgent, kAgent, L"agent", 4'000'000));
  folder.MakeFolder(L"ServerEvents");
  Consumer consumer(folder, {agentEvents, serverEvents});
  std::jthread taking([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) consumer.TakeAll();
  });
  for (int i = 0; i < saves; ++i) {
    EXPECT_EQ(S_OK, forServer->Save()) << i;
    EXPECT_EQ(S_OK, forAgent->Save()) << i;
  }
  taking.request_stop();
  taking.join();
  const Reports saved = ReadReports({consumer.taken, agentEvents, serverEvents});
  EXPECT_EQ(0u, saved.cut);
  EXPECT_EQ(static_cast<std::size_t>(saves), saved.marks.count("server"));
  EXPECT_EQ(static_cast<std::size_t>(saves), saved.marks.count("agent"));
  std::printf("figures: consumer: %zu of %d reports whole, %zu of them taken\n", saved.marks.size(),
              2 * saves, FilesIn(consumer.taken).size());
}

}  // namespace
}  // namespace varnel::test
