// scanner_reports_test DLL [FOLDER]: the tests of scanner_reports.hpp, with the real varnel.dll. Nothing
// needs to be installed. The reports of all tests are copied into FOLDER, for
//   varnel catalogue cover --all catalogues/scanner.toml FOLDER
// which shows that every event of the catalogue is reported with all its fields, and nothing else.
//
// Without a test framework, so that it builds everywhere; with one, each function is a test case.

#include "scanner_reports.hpp"

#include <cstdio>
#include <exception>
#include <varnel/testing.hpp>

namespace {

using varnel::testing::Agent;
using varnel::testing::Fault;
using varnel::testing::ReportFile;

bool g_hasFailed = false;

acme::Scan CleanScan() {
  return {scanner::ScanKind::kQuick, 3};
}

void Expect(bool holds, const char* what) {
  if (holds) return;
  g_hasFailed = true;
  std::fprintf(stderr, "  expected: %s\n", what);
}
// Ends the test case if the condition does not hold.
void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// Returns the only report, which has this many events.
ReportFile TakeOne(Agent& agent, std::size_t events) {
  std::vector<ReportFile> files = agent.TakeReports();
  Require(files.size() == 1, "one report");
  Require(files[0].events.size() == events, "as many events as happened");
  return std::move(files[0]);
}

void ScanIsReported(Agent& agent) {
  acme::Scan scan{scanner::ScanKind::kOnDemand, 184'223, true};
  scan.found.push_back({L"C:\\<a>.exe", L"Trojan.Generic.42", scanner::Verdict::kQuarantined, 97});
  scan.found.push_back({L"C:\\b.exe", L"EICAR", scanner::Verdict::kDeleted});
  scan.unread.push_back({L"C:\\pagefile.sys", ERROR_SHARING_VIOLATION});
  acme::Reporter reporter(agent.Library());
  Expect(reporter.ReportScan(scan) == S_OK, "success");

  const ReportFile file = TakeOne(agent, 4);
  Expect(file.product.Attribute("ProductName") == L"Acme Scanner", "the product's name");
  const auto& found = file.events[0];
  Expect(found.name == L"MalwareDetected" && found.Child("EventID").text == L"1024", "the first finding");
  Expect(found.Attribute("Threat") == L"Trojan.Generic.42", "the threat");
  Expect(found.Attribute("Confidence") == L"97", "the confidence");
  Expect(found.Child("File").text == L"C:\\<a>.exe", "the file");
  Expect(found.Child("File").Attribute("Action") == L"quarantined", "what was done");
  Expect(!file.events[1].FindAttribute("Confidence"), "no confidence of a signature");
  Expect(file.events[2].Child("File").Attribute("Error") == L"32", "the error");
  Expect(file.events[3].Attribute("Kind") == L"on demand", "the kind of the scan");
  Expect(file.events[3].Attribute("Stopped") == L"true", "that it was stopped");
}

void NameThatIsNoTextIsReportedRepaired(Agent& agent) {
  acme::Scan scan = CleanScan();
  scan.found.push_back({L"C:\\\xD800\n.exe", L"EICAR", scanner::Verdict::kNone});
  Expect(acme::Reporter(agent.Library()).ReportScan(scan) == S_OK, "success");
  Expect(TakeOne(agent, 2).events[0].Child("File").text == L"C:\\\uFFFD\n.exe", "the repaired name");
}

void UpdateIsReported(Agent& agent) {
  acme::Reporter reporter(agent.Library());
  Expect(reporter.ReportUpdate({std::nullopt, L"1.402.11"}) == S_OK, "success of the first update");
  Expect(!TakeOne(agent, 1).events[0].FindChild("FromVersion"), "no version before the first");
  Expect(reporter.ReportUpdate({L"1.402.11", L"1.402.12"}) == S_OK, "success");
  Expect(TakeOne(agent, 1).events[0].Child("FromVersion").text == L"1.402.11", "the version before");
}

void DisabledEventIsLeftOut(Agent& agent) {
  acme::Scan scan = CleanScan();
  scan.found.push_back({L"C:\\a.exe", L"EICAR", scanner::Verdict::kDeleted});
  acme::Reporter reporter(agent.Library());
  agent.DisableEvent(scanner::ScanFinished::kId);
  Expect(reporter.ReportScan(scan) == S_OK, "success");
  Expect(TakeOne(agent, 1).events[0].name == L"MalwareDetected", "the other event");
  Expect(reporter.ReportScan(CleanScan()) == S_OK, "success without an event");
  agent.DisableEvent(0);
  Expect(reporter.ReportScan(scan) == S_OK, "success with all events disabled");
  Expect(agent.TakeReports().empty(), "no report");
}

void MachineWithoutAnAgentGetsNoReport(Agent& agent) {
  agent.SetManaged(false);
  Expect(acme::Reporter(agent.Library()).ReportScan(CleanScan()) == S_OK, "success");
  Expect(agent.TakeReports().empty(), "no report");
}

void ReportWaitsForRoomOnTheDisk(Agent& agent) {
  acme::Reporter reporter(agent.Library());
  agent.Fail(Fault::kDiskFull);
  Expect(reporter.ReportScan(CleanScan()) == VARNEL_E_NOT_WRITTEN, "the failure");
  Expect(agent.TakeReports().empty(), "no half a report");
  agent.Recover();
  Expect(reporter.ReportUpdate({L"1", L"2"}) == S_OK, "success");
  const std::vector<ReportFile> files = agent.TakeReports();
  Require(files.size() == 2, "both reports");
  Expect(files[0].events.at(0).name == L"ScanFinished", "the one that has waited first");
}

void OldestReportsAreLostWhenTooManyWait(Agent& agent) {
  acme::Reporter reporter(agent.Library());
  agent.Fail(Fault::kDiskFull);
  for (std::int64_t number = 1; number <= 20; ++number)
    reporter.ReportScan({scanner::ScanKind::kFull, number});
  agent.Recover();
  Expect(reporter.ReportUpdate({L"1", L"2"}) == S_OK, "success");
  const std::vector<ReportFile> files = agent.TakeReports();
  Expect(files.size() <= acme::Reporter::kMostKept, "no more than are kept");
  Expect(files.at(0).events.at(0).Attribute("Scanned") == L"12", "the oldest that was kept");
  Expect(files.back().events.at(0).name == L"SignaturesUpdated", "the newest");
}

void ReportThatIsTooLargeDoesNotKeepTheNextBack(Agent& agent) {
  acme::Reporter reporter(agent.Library());
  agent.SetSizeLimit(100);
  Expect(reporter.ReportScan(CleanScan()) == VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN, "the failure");
  agent.SetSizeLimit(100'000);
  Expect(reporter.ReportUpdate({L"1", L"2"}) == S_OK, "success");
  Expect(TakeOne(agent, 1).events[0].name == L"SignaturesUpdated", "the next report");
}

// At whatever allocation memory runs out: the report is written then, or with the next one, or the failure is
// returned.
void NoMemoryLosesNothingInSilence(Agent& agent) {
  for (unsigned n = 1;; ++n) {
    acme::Reporter reporter(agent.Library());
    agent.Fail(Fault::kNoMemory, n);
    const HRESULT result = reporter.ReportScan(CleanScan());
    const bool hasHappened = agent.Failures(Fault::kNoMemory) > 0;
    agent.Recover();
    std::size_t files = agent.TakeReports().size();
    Require(result == S_OK || (hasHappened && result == E_OUTOFMEMORY), "success, or E_OUTOFMEMORY");
    Require(reporter.ReportUpdate({L"1", L"2"}) == S_OK, "success with memory");
    files += agent.TakeReports().size();
    Require(files == 2 || (files == 1 && FAILED(result)), "no report lost without a word");
    if (!hasHappened) return;
  }
}

struct TestCase {
  const char* name;
  void (*run)(Agent&);
};
constexpr TestCase kTestCases[] = {
    {"ScanIsReported", &ScanIsReported},
    {"NameThatIsNoTextIsReportedRepaired", &NameThatIsNoTextIsReportedRepaired},
    {"UpdateIsReported", &UpdateIsReported},
    {"DisabledEventIsLeftOut", &DisabledEventIsLeftOut},
    {"MachineWithoutAnAgentGetsNoReport", &MachineWithoutAnAgentGetsNoReport},
    {"ReportWaitsForRoomOnTheDisk", &ReportWaitsForRoomOnTheDisk},
    {"OldestReportsAreLostWhenTooManyWait", &OldestReportsAreLostWhenTooManyWait},
    {"ReportThatIsTooLargeDoesNotKeepTheNextBack", &ReportThatIsTooLargeDoesNotKeepTheNextBack},
    {"NoMemoryLosesNothingInSilence", &NoMemoryLosesNothingInSilence},
};

// Returns a path as the arguments of main have it, in the ANSI code page.
std::wstring PathOf(const char* argument) {
  return std::filesystem::path(argument).wstring();
}

bool Passes(const TestCase& test, int count, char** arguments) {
  g_hasFailed = false;
  std::printf("%s\n", test.name);
  try {
    Agent agent(PathOf(arguments[1]));
    if (count > 2) agent.KeepReports(PathOf(arguments[2]));
    test.run(agent);
  } catch (const std::exception& error) {
    Expect(false, error.what());
  }
  return !g_hasFailed;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) {
    std::fprintf(stderr, "usage: scanner_reports_test FULL-PATH-OF-VARNEL.DLL [FOLDER]\n");
    return 2;
  }
  int failed = 0;
  for (const TestCase& test : kTestCases) failed += Passes(test, count, arguments) ? 0 : 1;
  std::printf("%d of %d tests failed\n", failed, static_cast<int>(std::size(kTestCases)));
  return failed == 0 ? 0 : 1;
}
