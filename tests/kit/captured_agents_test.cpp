// The agents of varnel/testing.hpp beside the machine's, beside each other, and after a kill.

#include "kit/random_sequence.h"
#include "support/captured_output.h"
#include "support/process.h"
#include "varnel/testing.hpp"

#include <windows.h>
#include <gmock/gmock.h>
#include <psapi.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace varnel::test {
namespace {

namespace kit = varnel::testing;
using kit::Agent;

Product Describe() {
  return {kAgent, "Root", "Product", "Name", "1.2", "Family"};
}
void SaveOne(const varnel::Library& library) {
  const Report report(library, Describe());
  report.AddMachine();
  report.AddEvent("E", 1000, 1);
  report.Save();
}
// The folders of agents in the temporary folder, with what is in them.
std::vector<std::wstring> AgentFiles() {
  std::vector<std::wstring> found;
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(std::filesystem::temp_directory_path()))
    if (entry.path().wstring().find(L"varnel-agent-") != std::wstring::npos)
      found.push_back(entry.path().wstring());
  return found;
}
// What an agent might touch: this user's keys, and those of the machine's agent.
std::string Registry() {
  return ExportKey(HKEY_CURRENT_USER, L"") +
         ExportKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node\\Kestrane");
}

class CapturedAgents : public MachineAgentTest {
 protected:
  static void SetUpTestSuite() { before_ = Registry(); }
  static void TearDownTestSuite() { EXPECT_EQ(before_, Registry()); }
  ~CapturedAgents() override { EXPECT_THAT(AgentFiles(), ::testing::IsEmpty()); }

  static ChildProcess StartWorker(const std::wstring& name, int agents, int reports) {
    return ChildProcess(L"" VARNEL_AGENTS_WORKER L" " + Library::Path() + L" " + name + L" " +
                        std::to_wstring(agents) + L" " + std::to_wstring(reports));
  }

 private:
  static inline std::string before_;
};

TEST_F(CapturedAgents, HostSeesTheMachineMeanwhile) {
  SetNumber(kLog, L"LogLevel", 7);
  const varnel::Library ofHost = varnel::Library::FromFile(Library::Path().c_str());
  Agent agent(Library::Path());
  agent.SetLogLevel(8);
  agent.Fail(kit::Fault::kAccessDenied);
  const std::string lines = OutputOf([&] {
    SaveOne(ofHost);
    agent.Recover();
    SaveOne(agent.Library());
  });
  TakeFiles(agentEvents);
  EXPECT_EQ(1u, agent.TakeReports().size());
  EXPECT_EQ(1u, RegexMatches(lines, "Got IP text").size()) << lines;
}

TEST_F(CapturedAgents, OfOneProcessShareNothing) {
  std::vector<std::unique_ptr<Agent>> agents;
  for (std::size_t i = 0; i < kit::kMostAgents; ++i)
    agents.push_back(std::make_unique<Agent>(Library::Path()));
  EXPECT_THROW(Agent(Library::Path()), std::runtime_error);
  agents[0]->SetManaged(false);
  agents[1]->Fail(kit::Fault::kDiskFull);
  agents[2]->DisableEvent(1000);
  agents[3]->SetLogLevel(8);
  agents[4]->RemoveFolder();
  for (std::size_t i = 0; i < agents.size(); ++i) {
    Report report(agents[i]->Library(), Describe());
    report.AddMachine();
    EXPECT_EQ(i == 2 ? VARNEL_E_EVENT_DISABLED : S_OK, report.TryAddEvent("E", 1000, 1)) << i;
    report.AddEvent("E", 1, 1);
    EXPECT_EQ(i == 1 || i == 4 ? VARNEL_E_NOT_WRITTEN : S_OK, report.TrySave()) << i;
    EXPECT_EQ(i == 0 || i == 1 || i == 4 ? 0u : 1u, agents[i]->TakeReports().size()) << i;
    EXPECT_EQ(i == 3, agents[i]->TakeLog().size() > 5) << i;
  }
}

// Its agent has gone: it finds no settings, so it writes nowhere.
TEST_F(CapturedAgents, ReportThatOutlivesItsAgentWritesNothing) {
  Report report;
  {
    const Agent agent(Library::Path());
    report = Report(agent.Library(), Describe());
    report.AddMachine();
    report.AddEvent("E", 1, 1);
  }
  EXPECT_EQ(S_OK, report.TrySave());
  EXPECT_THAT(FilesIn(agentEvents), ::testing::IsEmpty());
  report = Report();
  const Agent next(Library::Path());
}

// The library opens the filter by its name in the ANSI code page, which lacks these letters.
TEST_F(CapturedAgents, TemporaryFolderMayHaveAnyNameThatIsShortEnough) {
  const std::wstring before = std::filesystem::temp_directory_path().wstring();
  const std::wstring other = folder.MakeFolder(L"\u0416 \u6F22");
  SetEnvironmentVariableW(L"TMP", other.c_str());
  {
    Agent agent(Library::Path());
    SaveOne(agent.Library());
    EXPECT_EQ(1u, agent.TakeReports().size());
    agent.DisableEvent(1000);
    Report report(agent.Library(), Describe());
    EXPECT_EQ(VARNEL_E_EVENT_DISABLED, report.TryAddEvent("E", 1000, 1));
  }
  EXPECT_THAT(FilesIn(other), ::testing::IsEmpty());
  SetEnvironmentVariableW(L"TMP", (L"C:\\" + std::wstring(148, L'x')).c_str());
  EXPECT_THROW(Agent(Library::Path()), std::runtime_error);
  SetEnvironmentVariableW(L"TMP", before.c_str());
}

TEST_F(CapturedAgents, LibraryThatCannotBeCapturedIsAnErrorThatNamesIt) {
  const std::wstring copy = folder.File(L"copy.dll");
  const auto message = [&] {
    try {
      const Agent agent(copy);
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string("captured");
  };
  EXPECT_THAT(message(), ::testing::HasSubstr("cannot be copied (Windows error 2)"));
  WriteBytes(copy, "no DLL");
  EXPECT_THAT(message(), ::testing::HasSubstr("cannot be loaded (Windows error 193)"));
  WriteBytes(copy, ReadBytes(L"C:\\windows\\system32\\cabinet.dll"));
  EXPECT_THAT(message(), ::testing::HasSubstr("Pass the varnel.dll of a package"));
}

TEST_F(CapturedAgents, OfManyProcessesDoNotMeet) {
  const int reports = Count(5, 100);
  std::vector<ChildProcess> workers;
  for (int i = 0; i < 8; ++i) workers.push_back(StartWorker(L"worker" + std::to_wstring(i), 4, reports));
  for (const auto& worker : workers) EXPECT_EQ(0u, worker.Wait(300'000));
  EXPECT_THAT(FilesIn(agentEvents), ::testing::IsEmpty());
  std::printf("figures: captured agents: 8 processes with 4 agents, %d reports, none in the wrong place\n",
              8 * 4 * reports);
}

TEST_F(CapturedAgents, OfAKilledProcessAreRemovedByTheNext) {
  const auto isSaving = [](const std::wstring& file) { return file.find(L"AgentEvents\\") != file.npos; };
  const int kills = Count(2, 20);
  for (int i = 0; i < kills; ++i) {
    const ChildProcess victim = StartWorker(L"victim", 4, 0);
    for (int tries = 0; tries < 1000; ++tries, Sleep(10))
      if (const auto files = AgentFiles(); std::any_of(files.begin(), files.end(), isSaving)) break;
    const Agent neighbour(Library::Path());
    EXPECT_LT(5u, AgentFiles().size()) << "a living process keeps its folders";
    victim.Kill();
    EXPECT_EQ(1u, victim.Wait(60'000));
    EXPECT_LT(5u, AgentFiles().size());
    const Agent next(Library::Path());
    SaveOne(neighbour.Library());
    for (const std::wstring& file : AgentFiles())
      EXPECT_NE(std::wstring::npos, file.find(L"agent-" + std::to_wstring(GetCurrentProcessId()) + L"-"));
  }
}

std::size_t PrivateKilobytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
  return counters.PagefileUsage / 1024;
}

TEST_F(CapturedAgents, LeaveNothingInTheProcess) {
  const int count = Count(30, 1000);
  int handles = 0;
  std::size_t memory = 0;
  for (int i = 0; i < count; ++i) {
    if (i == count / 6) {
      handles = CountHandles();
      memory = PrivateKilobytes();
    }
    Agent agent(Library::Path());
    SaveOne(agent.Library());
    agent.DisableEvent(1);
    EXPECT_EQ(1u, agent.TakeReports().size());
  }
  EXPECT_EQ(handles, CountHandles());
  const std::size_t after = PrivateKilobytes();
  EXPECT_LE(after, memory + 500) << "KB before: " << memory;
  std::printf("figures: %d captured agents: handles %d to %d, memory %zu to %zu KB\n", count, handles,
              CountHandles(), memory, after);
}

// One conversation with each agent; what differs between two runs is taken out: paths, names, times, objects.
class Conversations : public MachineAgentTest {
 protected:
  struct Outcome {
    std::string results;
    std::vector<std::string> files;  // sorted
    std::wstring lines;
  };

  // The settings of a conversation, made from its seed.
  struct Settings {
    explicit Settings(unsigned seed)
        : managed(seed % 8 != 1),
          sizeLimit(seed % 8 == 2 ? 1'000 : 100'000),
          trigger(seed % 3 == 0 ? 0 : 100),
          disabledEvent(seed % 8 == 3   ? 1024
                        : seed % 8 == 4 ? -1
                                        : 99),
          hasFolder(seed % 8 != 5) {}
    bool managed;
    DWORD sizeLimit;
    long trigger;
    long disabledEvent;
    bool hasFolder;
  };

  static std::string WithoutTimes(std::string bytes) {
    constexpr std::string_view kStart = "<GMTTime>";
    for (std::size_t at = bytes.find(kStart); at != bytes.npos; at = bytes.find(kStart, at + 1))
      bytes.erase(at + kStart.size(), bytes.find('<', at + 1) - at - kStart.size());
    return bytes;
  }
  // A line is stamp, level, thread, facility and text; a text may begin with an object's identity and have
  // the path of a file.
  static std::wstring Comparable(std::wstring line, const std::wstring& where) {
    line.erase(0, line.find(L' ', 11));
    line.erase(std::remove(line.begin(), line.end(), L'\r'), line.end());
    constexpr std::size_t kText = 17;
    const std::size_t wordEnd = line.find(L' ', kText);
    if (line.size() > kText && wordEnd > kText + 4 &&
        line.find_first_not_of(L"0123456789abcdef", kText) == wordEnd)
      line.erase(kText, wordEnd - kText);
    if (const std::size_t path = line.find(where); path != line.npos) {
      const std::size_t name = line.find(L"Events\\", path) + 7;
      line.erase(name, line.find(L'.', name) - name);
      line.erase(path, where.size());
    }
    return line + L"\n";
  }

  Outcome WithRegistered(unsigned seed, const varnel::Library& library) const {
    const Settings settings(seed);
    SetNumber(kFramework, L"AgentMode", settings.managed ? 1 : 0);
    SetNumber(kFramework, L"Brenn Size", settings.sizeLimit);
    SetNumber(kFramework, L"AgPlcyEnableEventTrigger", 1);
    SetNumber(kFramework, L"AgPlcyEventTriggerThreshold", static_cast<DWORD>(settings.trigger + 48));
    WriteBytes(folder.MakeFolder(L"data") + L"\\EvtFiltr.ini",
               "DisabledEvent=9999999999;" + std::to_string(settings.disabledEvent) + ";");
    if (settings.hasFolder)
      std::filesystem::create_directory(agentEvents);
    else
      std::filesystem::remove(agentEvents);
    Outcome outcome;
    const std::string output = OutputOf([&] { outcome.results = Sequence(seed, library).Lines(); });
    for (const auto& where : {agentEvents, serverEvents})
      for (const auto& name : FilesIn(where)) {
        outcome.files.push_back(WithoutTimes(ReadBytes(where + L"\\" + name)));
        DeleteFileW((where + L"\\" + name).c_str());
      }
    std::wistringstream lines(kit::detail::WideOf(output, CP_ACP, 0));
    for (std::wstring line; std::getline(lines, line);) outcome.lines += Comparable(line, folder.Path());
    std::sort(outcome.files.begin(), outcome.files.end());
    return outcome;
  }
  static Outcome WithCaptured(unsigned seed) {
    const Settings settings(seed);
    Agent agent(Library::Path());
    agent.SetLogLevel(8);
    agent.SetManaged(settings.managed);
    agent.SetSizeLimit(settings.sizeLimit);
    agent.SetTrigger(settings.trigger);
    agent.DisableEvent(settings.disabledEvent);
    if (!settings.hasFolder) agent.RemoveFolder();
    Outcome outcome{Sequence(seed, agent.Library()).Lines(), {}, {}};
    for (const kit::ReportFile& file : agent.TakeReports()) outcome.files.push_back(WithoutTimes(file.bytes));
    for (const std::wstring& line : agent.TakeLog()) outcome.lines += Comparable(line, agent.Folder());
    std::sort(outcome.files.begin(), outcome.files.end());
    return outcome;
  }
};

TEST_F(Conversations, GiveTheSameWithARegisteredAgent) {
  SetNumber(kLog, L"LogLevel", 8);
  const varnel::Library library = varnel::Library::FromFile(Library::Path().c_str());
  const auto count = static_cast<unsigned>(Count(100, 2'000));
  std::size_t files = 0;
  std::size_t lines = 0;
  for (unsigned seed = 0; seed < count; ++seed) {
    Outcome registered = WithRegistered(seed, library);
    Outcome captured = WithCaptured(seed);
    // Two files of one thread and millisecond may get the same name, and one of them is lost.
    for (int tries = 0; tries < 2 && registered.files.size() != captured.files.size(); ++tries) {
      registered = WithRegistered(seed, library);
      captured = WithCaptured(seed);
    }
    EXPECT_EQ(registered.results, captured.results);
    EXPECT_EQ(registered.files, captured.files) << registered.results;
    EXPECT_EQ(registered.lines, captured.lines);
    files += captured.files.size();
    lines += static_cast<std::size_t>(std::count(captured.lines.begin(), captured.lines.end(), L'\n'));
  }
  EXPECT_LT(count / 2, files);
  EXPECT_LT(10 * count, lines);
  std::printf(
      "figures: captured and registered agent: %u conversations, %zu files, %zu log lines, all the same\n",
      count, files, lines);
}

}  // namespace
}  // namespace varnel::test
