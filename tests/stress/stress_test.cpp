#include "stress/marked_report.h"
#include "support/child_process.h"
#include "support/soak.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

namespace varnel::test {
namespace {

constexpr DWORD kMinute = 60'000;
constexpr int kWithoutEnd = 1'000'000'000;

std::wstring FromEnvironment(const wchar_t* name) {
  wchar_t value[MAX_PATH] = {};
  GetEnvironmentVariableW(name, value, MAX_PATH);
  return value;
}

double Since(ULONGLONG begin) {
  return static_cast<double>(GetTickCount64() - begin) / 1000;
}

// Reads a folder over and over, as agent and event parser do, until it is asked what it saw.
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

// Workers note what they have saved in a folder, a line for each report.
class WorkersTest : public MachineAgentTest {
 protected:
  // Level 1: what workers log would come into the mailslot of another test.
  WorkersTest() { SetMachineNumber(kLog, L"LogLevel", 1); }

  ChildProcess StartWorker(const std::wstring& name, std::size_t threads, int reports, int bodySize) const {
    const std::string program = "Z:" VARNEL_WORKER;
    std::wostringstream command;
    command << std::wstring(program.begin(), program.end()) << L' ' << name << L' ' << threads << L' '
            << reports << L' ' << bodySize << L' ' << notes;
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

using ManyWriters = WorkersTest;

// many_writers.sh names the folder and has every file in it parsed afterwards.
TEST_F(ManyWriters, LoseNothingAndReadersDoNotDisturbThem) {
  const std::wstring root = FromEnvironment(L"VARNEL_REPORTS");
  ASSERT_FALSE(root.empty()) << "run by many_writers.sh";
  SetMachineText(kFramework, L"Data Path", root + L"\\");
  SetMachineText(kEventParser, L"EventsPath", root + L"\\ServerEvents");
  constexpr std::size_t kProcesses = 8;
  constexpr std::size_t kThreads = 4;
  const int reports = Count(10, 100);
  const ULONGLONG begin = GetTickCount64();
  Reader agentReader(root + L"\\AgentEvents");
  Reader serverReader(root + L"\\ServerEvents");
  std::vector<ChildProcess> workers;
  for (std::size_t i = 0; i < kProcesses; ++i)
    workers.push_back(StartWorker(L"worker" + std::to_wstring(i), kThreads, reports, 8000));
  for (const auto& worker : workers) EXPECT_EQ(0u, worker.Wait(5 * kMinute));
  const double seconds = Since(begin);
  const int unfinished =
      agentReader.ExpectNothingButBeginningsSeen() + serverReader.ExpectNothingButBeginningsSeen();

  const Reports saved = ReadReports({root + L"\\AgentEvents", root + L"\\ServerEvents"});
  const auto expected = kProcesses * kThreads * static_cast<std::size_t>(reports);
  EXPECT_EQ(expected, saved.files);
  EXPECT_EQ(0u, saved.cut);
  EXPECT_EQ(expected, Noted().size());
  EXPECT_EQ(Noted(), saved.marks);
  std::printf(
      "figures: many writers: %zu reports, %zu files, %zu processes of %zu threads, "
      "%d looks at unfinished files, %.1f s\n",
      expected, saved.files, kProcesses, kThreads, unfinished, seconds);
}

// Takes turns with the writers: it tells a turn that a killed writer left behind, and one that never comes.
class TurnWatch {
 public:
  TurnWatch() : thread_([this](const std::stop_token& stop) { Watch(stop); }) {}

  int AbandonedTurns() const { return abandoned_; }

 private:
  void Watch(const std::stop_token& stop) {
    const KernelHandle mutex(CreateMutexW(nullptr, FALSE, L"ORBAEVTINFMUTEX"));
    while (!stop.stop_requested()) {
      const DWORD result = WaitForSingleObject(mutex.Get(), kMinute);
      EXPECT_TRUE(result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) << result;
      if (result == WAIT_ABANDONED) ++abandoned_;
      if (result != WAIT_TIMEOUT) ReleaseMutex(mutex.Get());
      Sleep(1);
    }
  }

  std::atomic<int> abandoned_ = 0;
  std::jthread thread_;
};

class KilledWriters : public WorkersTest {
 protected:
  // Large reports: most of a victim's time is then its turn to write.
  void StartAndKill(const std::wstring& name, DWORD milliseconds) const {
    const ChildProcess victim = StartWorker(name, 2, kWithoutEnd, 1'000'000);
    const std::wstring sign = notes + L"\\" + name + L"-1";
    for (int patience = 0; !Exists(sign) && patience < 10'000; ++patience) Sleep(1);
    ASSERT_TRUE(Exists(sign));
    Sleep(milliseconds);
    victim.Kill();
    EXPECT_EQ(1u, victim.Wait(kMinute));
  }

  void ExpectMoreReports() const {
    const auto before = Noted().size();
    const ULONGLONG end = GetTickCount64() + kMinute;
    while (Noted().size() < before + 10 && GetTickCount64() < end) Sleep(50);
    EXPECT_LE(before + 10, Noted().size()) << "the survivors save nothing any more";
  }
};

TEST_F(KilledWriters, HangNobodyAndTakeNoSavedReportAlong) {
  const int kills = Count(15, 100);
  const KernelHandle stop(CreateEventW(nullptr, TRUE, FALSE, kStopEvent));
  const ULONGLONG begin = GetTickCount64();
  std::vector<ChildProcess> survivors;
  for (const wchar_t* name : {L"survivor0", L"survivor1"})
    survivors.push_back(StartWorker(name, 1, kWithoutEnd, 2000));
  const TurnWatch watch;
  std::minstd_rand random(20240307);
  int killed = 0;
  // At least one kill has to come in the middle of a save, or nothing has been tried.
  for (; killed < kills || (watch.AbandonedTurns() == 0 && killed < 10 * kills); ++killed)
    ASSERT_NO_FATAL_FAILURE(StartAndKill(L"victim" + std::to_wstring(killed), random() % 200));
  EXPECT_LT(0, watch.AbandonedTurns());
  ExpectMoreReports();
  SetEvent(stop.Get());
  for (const auto& survivor : survivors) EXPECT_EQ(0u, survivor.Wait(kMinute));
  const double seconds = Since(begin);

  const Reports saved = ReadReports({agentEvents, serverEvents});
  const auto noted = Noted();
  EXPECT_TRUE(std::includes(saved.marks.begin(), saved.marks.end(), noted.begin(), noted.end()));
  // A kill leaves one report at most unfinished, or finished but not noted, in each of the two threads.
  EXPECT_LE(saved.files, noted.size() + 2u * static_cast<unsigned>(killed));
  std::printf(
      "figures: killed writers: %d kills, %d turns seen abandoned, %zu reports noted, %zu whole "
      "files, %zu cut, %.1f s\n",
      killed, watch.AbandonedTurns(), noted.size(), saved.marks.size(), saved.cut, seconds);
}

}  // namespace
}  // namespace varnel::test
