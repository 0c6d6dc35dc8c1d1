// The results of varnel/testing.hpp: each documented one comes from the real library, with its log line.

#include "support/library.h"
#include "varnel/testing.hpp"

#include <gmock/gmock.h>

#include <ostream>
#include <thread>

namespace varnel::test {
namespace {

namespace kit = varnel::testing;

using kit::Agent;
using kit::Fault;

Product Describe(const wchar_t* softwareId) {
  return {softwareId, "Root", "Product", "Name", "1.2", "Family"};
}
Report Filled(const Agent& agent, const wchar_t* softwareId = kAgent) {
  Report report(agent.Library(), Describe(softwareId));
  report.AddMachine();
  report.AddEvent("E", 1000, 3);
  return report;
}
// The number of log lines that contain the text.
std::size_t CountLines(Agent& agent, std::string_view text) {
  std::size_t count = 0;
  for (const std::wstring& line : agent.TakeLog()) count += line.find(Wide(text)) != line.npos ? 1u : 0u;
  return count;
}

HRESULT Save(Agent&, Report& report) {
  return report.TrySave();
}

// A way to a result: prepares the agent of a report that is ready to be saved, and makes a call.
struct Way {
  const char* name;
  const wchar_t* softwareId;
  HRESULT result;
  const char* line;  // in the log lines of the call
  std::size_t files = 0;
  void (*prepare)(Agent&) = [](Agent&) {};
  HRESULT (*call)(Agent&, Report&) = &Save;
};
void PrintTo(const Way& way, std::ostream* out) {
  *out << way.name;
}

class CapturedResult : public ::testing::TestWithParam<Way> {};

TEST_P(CapturedResult, ComesFromTheLibraryWithItsLine) {
  const Way& way = GetParam();
  Agent agent(Library::Path());
  agent.SetLogLevel(8);
  Report report = Filled(agent, way.softwareId);
  way.prepare(agent);
  agent.TakeLog();
  EXPECT_EQ(way.result, way.call(agent, report));
  EXPECT_LE(1u, CountLines(agent, way.line)) << way.line;
  EXPECT_EQ(way.files, agent.TakeReports().size());
}

constexpr HRESULT kNotWritten = VARNEL_E_NOT_WRITTEN;
constexpr HRESULT kTooLarge = VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN;
constexpr char kFull[] = "Couldn't write: No space left on device";
constexpr char kDenied[] = "Couldn't open to write: Permission denied";
constexpr char kMissing[] = "Couldn't open to write: No such file or directory";
const Way kWays[] = {
    {"Written", kAgent, S_OK, " Save", 1},
    {"WrittenForServer", kServer, S_OK, " Save", 1},
    {"Dropped", kAgent, S_OK, " Not saving unmanaged", 0, [](Agent& agent) { agent.SetManaged(false); }},
    {"NotManaged", kAgent, VARNEL_E_NOT_MANAGED, " Not saving unmanaged", 0, [](Agent&) {},
     [](Agent& agent, Report&) {
       const Report refusing(agent.Library(), Describe(kAgent), Unmanaged::kRefuse);
       agent.SetManaged(false);
       return refusing.TrySave();
     }},
    {"Incomplete", kAgent, E_FAIL, " Not saving incomplete", 0, [](Agent&) {},
     [](Agent& agent, Report&) { return Report(agent.Library(), Describe(kAgent)).Get()->Save(); }},
    {"NoFolderIsSet", kAgent, E_FAIL, "Failed to get data folder. Error code =", 0,
     [](Agent& agent) { agent.RemoveSetting(L"Data Path"); }},
    {"NoFolderIsSetForServer", kServer, E_FAIL, " Save", 0,
     [](Agent& agent) { agent.RemoveSetting(L"EventsPath"); }},
    {"EventDisabled", kAgent, VARNEL_E_EVENT_DISABLED, " CreateEventElement E|-5|1", 0,
     [](Agent& agent) {
       agent.DisableEvent(-5);
       agent.DisableEvent(1024);
     },
     [](Agent&, Report& report) {
       const HRESULT second = report.TryAddEvent("E", 1024, 1);
       return second == S_OK ? second : report.TryAddEvent("E", -5, 1);
     }},
    {"ProductDisabled", kAgent, VARNEL_E_EVENT_DISABLED, " Initialize EXAMPLE__1000|", 0,
     [](Agent& agent) { agent.DisableEvent(0); },
     [](Agent& agent, Report& report) { return report.TryOpen(agent.Library(), Describe(kAgent)); }},
    {"EnabledAgain", kAgent, S_OK, " CreateEventElement E|1024|1", 0,
     [](Agent& agent) {
       agent.DisableEvent(0);
       agent.EnableEvents();
     },
     [](Agent&, Report& report) { return report.TryAddEvent("E", 1024, 1); }},
    {"FolderIsMissing", kAgent, kNotWritten, kMissing, 0, [](Agent& agent) { agent.RemoveFolder(); }},
    {"FolderIsThereAgain", kAgent, S_OK, " Save", 1,
     [](Agent& agent) {
       agent.RemoveFolder();
       agent.RestoreFolder();
     }},
    {"AccessDenied", kAgent, kNotWritten, kDenied, 0, [](Agent& agent) { agent.Fail(Fault::kAccessDenied); }},
    {"AccessDeniedForServer", kServer, kNotWritten, " couldn't create file ", 0,
     [](Agent& agent) { agent.Fail(Fault::kAccessDenied); }},
    {"DiskFull", kAgent, kNotWritten, kFull, 0, [](Agent& agent) { agent.Fail(Fault::kDiskFull); }},
    {"DiskFullForServer", kServer, kTooLarge, kFull, 0, [](Agent& agent) { agent.Fail(Fault::kDiskFull); }},
    {"TooLarge", kAgent, kTooLarge, "Event data too big ", 0, [](Agent& agent) { agent.SetSizeLimit(100); }},
    {"TooLargeForServer", kServer, kTooLarge, "Event data is too large to be sent to Orba", 0,
     [](Agent& agent) { agent.SetSizeLimit(100); }},
    {"BadArgument", kAgent, VARNEL_E_BAD_ARGUMENT, " SaveAgentEventOnly ORBAAGENT|201|200", 0, [](Agent&) {},
     [](Agent&, Report& report) {
       return report.TrySaveAgentEventOnly("ORBAAGENT", std::wstring(201, L'x'));
     }},
    {"NotAgentComponent", kAgent, VARNEL_E_NOT_AGENT_COMPONENT, " SaveAgentEventOnly EXAMPLE__1000|3|200", 0,
     [](Agent&) {}, [](Agent&, Report& report) { return report.TrySaveAgentEventOnly(kAgent, "xml"); }},
    {"NoMemory", kAgent, E_OUTOFMEMORY, " Save", 0, [](Agent& agent) { agent.Fail(Fault::kNoMemory); }},
};
INSTANTIATE_TEST_SUITE_P(All, CapturedResult, ::testing::ValuesIn(kWays),
                         [](const auto& row) { return row.param.name; });

// Each n-th call fails once, and the same save succeeds when it is repeated.
TEST(CapturedFaults, HappenAtTheCallThatIsNamed) {
  struct Row {
    Fault fault;
    HRESULT result;
    unsigned fewest;  // calls of this kind that a save makes
  };
  for (const Row& row :
       {Row{Fault::kDiskFull, VARNEL_E_NOT_WRITTEN, 1}, Row{Fault::kAccessDenied, VARNEL_E_NOT_WRITTEN, 1},
        Row{Fault::kNoMemory, E_OUTOFMEMORY, 2}}) {
    SCOPED_TRACE(static_cast<int>(row.fault));
    Agent agent(Library::Path());
    Report report = Filled(agent);
    unsigned call = 0;
    for (;;) {
      agent.Fail(row.fault, ++call);
      const HRESULT result = report.TrySave();
      if (agent.Failures(row.fault) == 0) break;
      EXPECT_EQ(row.result, result);
      EXPECT_EQ(0u, agent.TakeReports().size());
      EXPECT_EQ(S_OK, report.TrySave());
      EXPECT_EQ(1u, agent.TakeReports().size());
    }
    EXPECT_LT(row.fewest, call);
    EXPECT_EQ(1u, agent.TakeReports().size()) << "the save without a fault";
  }
}

TEST(CapturedFaults, HeldMutexBlocksASaveUntilItIsFree) {
  Agent agent(Library::Path());
  Report report = Filled(agent);
  agent.Fail(Fault::kMutexHeld, 2);
  EXPECT_EQ(S_OK, report.TrySave());
  EXPECT_FALSE(agent.AwaitBlockedSave(0));
  std::thread saver([&] { EXPECT_EQ(S_OK, report.TrySave()); });
  EXPECT_TRUE(agent.AwaitBlockedSave(10'000));
  EXPECT_EQ(1u, agent.TakeReports().size());
  agent.Recover();
  saver.join();
  EXPECT_EQ(1u, agent.TakeReports().size());
}

TEST(CapturedReports, AreParsedInTheOrderOfTheirSaving) {
  Agent agent(Library::Path());
  for (const wchar_t* const softwareId : {kServer, kAgent, kAgent, kServer, kAgent}) {
    Report report(agent.Library(), Describe(softwareId));
    report.AddMachine({"Some OS", "Zo\xC3\xAB"});
    const Element event = report.AddEvent("E", 1024, 3);
    event.SetAttribute("A", L"<\"'&>\t\r\n \U0001F600");
    event.AddChild("Path", L" <\"'&>\t\r\n\r \U0001F600");
    report.ProductElement().AddChild("Extra", "x");
    report.AddEvent("F", 1, 1);
    report.Save();
  }
  const auto files = agent.TakeReports();
  ASSERT_EQ(5u, files.size());
  EXPECT_TRUE(agent.TakeReports().empty());
  for (std::size_t i = 0; i < files.size(); ++i) {
    SCOPED_TRACE(i);
    const kit::ReportFile& file = files[i];
    EXPECT_EQ(i == 0 || i == 3, file.isForServer);
    EXPECT_EQ(L"Root", file.root.name);
    EXPECT_EQ(L"Some OS", file.machine.Child("OSName").text);
    EXPECT_EQ(L"Zo\u00EB", file.machine.Child("UserName").text);
    EXPECT_EQ(L"1.2", file.product.Attribute("ProductVersion"));
    EXPECT_EQ(3u, file.product.children.size());
    ASSERT_EQ(2u, file.events.size());
    EXPECT_EQ(L"F", file.events[1].name);
    EXPECT_EQ(L"<\"'&>   \U0001F600", file.events[0].Attribute("A"));
    EXPECT_EQ(L" <\"'&>\t\n\n \U0001F600", file.events[0].Child("Path").text);
    EXPECT_EQ(nullptr, file.events[0].FindAttribute("B"));
    EXPECT_THROW((void)file.events[0].Attribute("B"), std::out_of_range);
    EXPECT_THROW((void)file.events[0].Child("B"), std::out_of_range);
  }
}

TEST(CapturedReports, AreKeptWhenTheyAreTakenAndWhenTheyAreNot) {
  const TempFolder folder;
  {
    Agent agent(Library::Path());
    agent.KeepReports(folder.File(L"missing"));
    Filled(agent).Save();
    EXPECT_THROW(agent.TakeReports(), std::runtime_error);
    agent.KeepReports(folder.Path());
    EXPECT_EQ(1u, agent.TakeReports().size());
    Filled(agent, kServer).Save();
  }
  EXPECT_EQ(2u, FilesIn(folder.Path()).size());
}

TEST(CapturedReports, TriggerEventsAreThoseOfItsSeverityAndAbove) {
  struct Row {
    std::optional<long> threshold;
    long severity;
    bool isTrigger;
  };
  Agent agent(Library::Path());
  for (const Row& row : {Row{std::nullopt, 5, false}, Row{3, 3, true}, Row{3, 2, false}, Row{48, 48, true},
                         Row{48, 47, false}, Row{100, 99, false}, Row{-1, -1, true}, Row{-1, -2, false}}) {
    agent.SetTrigger(row.threshold);
    Report report = Filled(agent);
    report.AddEvent("E", 1, row.severity);
    report.Save();
    const std::wstring name = agent.TakeReports().at(0).name;
    EXPECT_EQ(row.isTrigger, name.find(L".txml") != name.npos)
        << row.threshold.value_or(0) << ", " << row.severity;
  }
}

TEST(CapturedReports, FileThatIsNotWellFormedIsNamedAndKept) {
  Agent agent(Library::Path());
  Report report = Filled(agent);
  IOrbaEventInf2& raw = *report.Get();
  ASSERT_EQ(S_OK,
            raw.CreateEventElement(Bstr(L"no name"), 1, 1, kNoon2024, static_cast<IEventElement**>(nullptr)));
  report.Save();
  for (int tries = 0; tries < 2; ++tries) try {
      agent.TakeReports();
      ADD_FAILURE() << "it was parsed";
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), ::testing::HasSubstr(".xml\" cannot be read: character "));
    }
}

}  // namespace
}  // namespace varnel::test
