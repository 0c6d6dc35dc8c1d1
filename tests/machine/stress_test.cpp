#include "base/handles.h"
#include "base/locks.h"
#include "machine/reports.h"
#include "support/process.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <random>
#include <sstream>
#include <thread>

namespace varnel::test {
namespace {

constexpr DWORD kMinute = 60'000;
constexpr int kWithoutEnd = 1'000'000'000;

// Workers note what they have saved in a folder, a line for each report.
class Workers : public MachineAgentTest {
 protected:
  // Level 1: nobody reads what workers log.
  Workers() { SetNumber(kLog, L"LogLevel", 1); }

  ChildProcess StartWorker(const std::wstring& name, int threads, int reports, int bodySize) const {
    wchar_t program[MAX_PATH];
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wostringstream command;
    command << program << L" --worker " << name << L' ' << threads << L' ' << reports << L' ' << bodySize
            << L' ' << notes;
    return ChildProcess(command.str());
  }

  std::set<std::string> Noted() const {
    std::set<std::string> marks;
    for (const auto& file : FilesIn(notes)) {
      std::istringstream lines(ReadBytes(notes + L"\\" + file));
      for (std::string mark; std::getline(lines, mark);) EXPECT_TRUE(marks.insert(mark).second) << mark;
    }
    return marks;
  }

  const std::wstring notes = folder.MakeFolder(L"Notes");
};

// Reads a folder over and over, as agent and event parser do.
class Reader {
 public:
  explicit Reader(std::wstring folder)
      : folder_(std::move(folder)), thread_([this](const std::stop_token& stop) { Poll(stop); }) {}

  // Compares what was seen of each file with what stands there now. Returns how many looks met a file that
  // was not finished.
  int ExpectNothingButBeginningsSeen() {
    thread_.request_stop();
    thread_.join();
    for (const auto& [file, bytes] : seen_)
      EXPECT_TRUE(ReadBytes(folder_ + L"\\" + file).starts_with(bytes)) << bytes;
    return unfinished_;
  }

 private:
  void Poll(const std::stop_token& stop) {
    for (; !stop.stop_requested(); Sleep(1)) {
      for (const auto& file : FilesIn(folder_)) {
        auto& bytes = seen_[file];
        if (bytes.ends_with("</Root>")) continue;
        std::string now = ReadBytes(folder_ + L"\\" + file);
        EXPECT_TRUE(now.starts_with(bytes)) << bytes;
        if (!now.ends_with("</Root>")) ++unfinished_;
        bytes = std::move(now);
      }
    }
  }

  std::wstring folder_;
  std::map<std::wstring, std::string> seen_;
  int unfinished_ = 0;
  std::jthread thread_;
};

TEST_F(Workers, LoseNothingAndReadersDoNotDisturbThem) {
  constexpr int kProcesses = 8;
  constexpr int kThreads = 4;
  const int reports = Count(10, 100);
  Reader agentReader(agentEvents);
  Reader serverReader(serverEvents);
  std::vector<ChildProcess> workers;
  for (int i = 0; i < kProcesses; ++i)
    workers.push_back(StartWorker(L"worker" + std::to_wstring(i), kThreads, reports, 8000));
  for (const auto& worker : workers) EXPECT_EQ(0u, worker.Wait(5 * kMinute));
  const int unfinished =
      agentReader.ExpectNothingButBeginningsSeen() + serverReader.ExpectNothingButBeginningsSeen();
  const Reports saved = ReadReports({agentEvents, serverEvents});
  const auto expected = static_cast<std::size_t>(kProcesses * kThreads * reports);
  EXPECT_EQ(expected, saved.files);
  EXPECT_EQ(0u, saved.cut);
  EXPECT_EQ(expected, saved.marks.size());
  EXPECT_EQ(Noted(), saved.marks);
  std::printf(
      "figures: many writers: %zu reports, %zu files, %d processes of %d threads, %d unfinished seen\n",
      expected, saved.files, kProcesses, kThreads, unfinished);
}

// Takes turns with the writers: it tells a turn that a killed writer left behind, and one that never comes.
class TurnWatch {
 public:
  std::atomic<int> abandoned = 0;

 private:
  std::jthread thread_{[this](const std::stop_token& stop) {
    const KernelHandle mutex(CreateMutexW(nullptr, FALSE, L"ORBAEVTINFMUTEX"));
    for (; !stop.stop_requested(); Sleep(1)) {
      const DWORD result = WaitForSingleObject(mutex.Get(), kMinute);
      EXPECT_TRUE(result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) << result;
      if (result == WAIT_ABANDONED) ++abandoned;
      ReleaseMutex(mutex.Get());
    }
  }};
};

TEST_F(Workers, ThatAreKilledHangNobodyAndTakeNoSavedReportAlong) {
  const int kills = Count(15, 100);
  const KernelHandle stop(CreateEventW(nullptr, TRUE, FALSE, kStopEvent));
  std::vector<ChildProcess> survivors;
  for (const wchar_t* name : {L"survivor0", L"survivor1"})
    survivors.push_back(StartWorker(name, 1, kWithoutEnd, 2000));
  const TurnWatch watch;
  std::minstd_rand random(20240307);
  int killed = 0;
  // At least one kill has to come in the middle of a save, or nothing has been tried. Most of a victim's time
  // is its turn to write: its reports are large.
  for (; killed < kills || (watch.abandoned == 0 && killed < 10 * kills); ++killed) {
    const std::wstring name = L"victim" + std::to_wstring(killed);
    const ChildProcess victim = StartWorker(name, 2, kWithoutEnd, 1'000'000);
    for (int patience = 0; !Exists(notes + L"\\" + name + L"-1") && patience < 10'000; ++patience) Sleep(1);
    ASSERT_TRUE(Exists(notes + L"\\" + name + L"-1"));
    Sleep(random() % 200);
    victim.Kill();
    EXPECT_EQ(1u, victim.Wait(kMinute));
  }
  EXPECT_LT(0, watch.abandoned);
  const auto before = Noted().size();
  for (const ULONGLONG end = GetTickCount64() + kMinute;
       Noted().size() < before + 10 && GetTickCount64() < end;)
    Sleep(50);
  EXPECT_LE(before + 10, Noted().size()) << "the survivors save nothing any more";
  SetEvent(stop.Get());
  for (const auto& survivor : survivors) EXPECT_EQ(0u, survivor.Wait(kMinute));

  const Reports saved = ReadReports({agentEvents, serverEvents});
  const auto noted = Noted();
  EXPECT_TRUE(std::includes(saved.marks.begin(), saved.marks.end(), noted.begin(), noted.end()));
  // A kill leaves one report at most unfinished, or finished but not noted, in each of the two threads.
  EXPECT_LE(saved.files, noted.size() + 2u * static_cast<unsigned>(killed));
  std::printf(
      "figures: killed writers: %d kills, %d turns abandoned, %zu reports noted, %zu whole, %zu cut\n",
      killed, watch.abandoned.load(), noted.size(), saved.marks.size(), saved.cut);
}

}  // namespace
}  // namespace varnel::test
