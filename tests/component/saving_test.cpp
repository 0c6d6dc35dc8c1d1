#include "component/library.h"
#include "support/captured_output.h"

#include <gmock/gmock.h>

#include <regex>

namespace varnel::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string Narrow(const std::wstring& text) {
  return {text.begin(), text.end()};
}

TEST_F(ReportTest, ServersOwnReportGoesToTheParserFolderUnderAGuidName) {
  ASSERT_EQ(S_OK, Initialize(*report, L"ORBASRVR_3500"));
  Fill(*report);
  EXPECT_EQ(S_OK, report->Save());
  EXPECT_EQ(S_OK, report->Save());
  const auto files = FilesIn(serverEvents);
  ASSERT_EQ(2u, files.size());
  const std::wregex guidName(L"[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\.xml");
  for (const auto& file : files) EXPECT_TRUE(std::regex_match(file, guidName)) << Narrow(file);
  EXPECT_TRUE(FilesIn(agentEvents).empty());
}

TEST_F(ReportTest, OtherReportsGoToTheAgentFolderUnderATimeName) {
  ASSERT_EQ(S_OK, Initialize(*report, L"orbasrvr_3500"));  // other letter case: other software
  Fill(*report);
  EXPECT_EQ(S_OK, report->Save());
  const auto files = FilesIn(agentEvents);
  ASSERT_EQ(1u, files.size());
  // The stamp to the millisecond, the random part (five digits once in four thousand million), the thread.
  EXPECT_TRUE(std::regex_match(files[0], std::wregex(L"[0-9]{17}[0-9]{4,5}[0-9A-F]{8}\\.xml")))
      << Narrow(files[0]);
  EXPECT_FALSE(Exists(serverEvents));
}

TEST_F(ReportTest, SavedDocumentIsExact) {
  registry.SetText(kFramework, L"AgentGUID", L"{A}");
  ASSERT_EQ(S_OK, Initialize(*report));
  ASSERT_EQ(S_OK, report->CreateMachineElement(Bstr(L"10.9.9.9"), Bstr(L"OS <1>"), Bstr(L"Zo\u00EB")));
  ComPtr<IEventElement> event;
  IOrbaEventInf2& typed = *report.Get();
  ASSERT_EQ(S_OK, typed.CreateEventElement(Bstr(L"First"), -5, 0, kNoon2024, event.Put()));
  ASSERT_EQ(S_OK, event->SetAttributeString(Bstr(L"A"), Bstr(L"x\"")));
  ASSERT_EQ(S_OK, event->SetAttributeString(Bstr(L"A"), Bstr(L"y")));
  ASSERT_EQ(S_OK, event->SetAttributeInt(Bstr(L"N"), -2147483647L - 1));
  ASSERT_EQ(S_OK, event->AddElementInto(Bstr(L"In"), nullptr, nullptr));
  ASSERT_EQ(S_OK, event->AppendElement(Bstr(L"Beside"), Bstr(L"1"), nullptr));
  ASSERT_EQ(S_OK, AddEvent(*report, L"Second", 7));
  ASSERT_EQ(S_OK, report->Save());

  const std::string saved = OnlyFile(agentEvents);
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Root><MachineInfo><MachineName>";
  ASSERT_EQ(head, saved.substr(0, head.size()));
  const auto afterName = saved.find("</MachineName>");
  ASSERT_NE(std::string::npos, afterName);
  const auto bias = saved.find("<TimeZoneBias>");
  ASSERT_NE(std::string::npos, bias);
  EXPECT_EQ(
      "</MachineName><AgentGUID>{A}</AgentGUID><IPAddress>192.0.2.7</IPAddress><OSName>OS &lt;1&gt;</OSName>"
      "<UserName>Zo\xC3\xAB</UserName>",
      saved.substr(afterName, bias - afterName));
  const auto software = saved.find("</MachineInfo>");
  ASSERT_NE(std::string::npos, software);
  EXPECT_EQ(
      "</MachineInfo><Product ProductName=\"Name\" ProductVersion=\"1.2\" ProductFamily=\"Family\">"
      "<First A=\"x&quot;y\" N=\"-2147483648\"><EventID>-5</EventID><Severity>0</Severity>"
      "<GMTTime>2024-03-07T12:00:00</GMTTime><In></In></First><Beside>1</Beside>"
      "<Second><EventID>7</EventID><Severity>1</Severity><GMTTime>2024-03-07T12:00:00</GMTTime></Second>"
      "</Product></Root>",
      saved.substr(software));
}

TEST_F(ReportTest, MachineFactsFallBackWhereTheAgentGivesNone) {
  registry.SetText(kFramework, L"IPAddress", L"N/A");
  ASSERT_EQ(S_OK, Initialize(*report));
  Fill(*report);
  ASSERT_EQ(S_OK, report->Save());
  const std::string saved = OnlyFile(agentEvents);
  EXPECT_THAT(saved, HasSubstr("<AgentGUID>{00000000-0000-0000-0000-000000000000}</AgentGUID>"));
  EXPECT_THAT(saved, Not(HasSubstr("N/A")));
  EXPECT_THAT(saved, HasSubstr("<OSName>Windows"));
  EXPECT_THAT(saved, Not(HasSubstr("<UserName></UserName>")));
  wchar_t name[200] = {};
  DWORD length = 200;
  GetComputerNameW(name, &length);
  EXPECT_THAT(saved, HasSubstr("<MachineName>" + Narrow(name) + "</MachineName>"));
}

TEST_F(ReportTest, TriggerPolicyOfTheLatestEventDecidesTheExtension) {
  registry.SetText(kFramework, L"AgPlcyEnableEventTrigger", L"1");
  registry.SetText(kFramework, L"AgPlcyEventTriggerThreshold", L"3");
  ASSERT_EQ(S_OK, Initialize(*report));
  Fill(*report, 3);
  ASSERT_EQ(S_OK, report->Save());
  ASSERT_EQ(1u, FilesIn(agentEvents).size());
  EXPECT_THAT(Narrow(FilesIn(agentEvents)[0]), testing::EndsWith(".txml"));
  ASSERT_EQ(S_OK, AddEvent(*report, L"Minor", 1, 2));
  ASSERT_EQ(S_OK, report->Save());
  EXPECT_EQ(2u, FilesIn(agentEvents).size());
  EXPECT_THAT(Narrow(FilesIn(agentEvents)[1]), testing::EndsWith(".xml"));
}

TEST_F(ReportTest, UnmanagedAgentSavesNothingAndSaysSo) {
  ASSERT_EQ(S_OK, Initialize(*report));
  Fill(*report);
  registry.SetNumber(kFramework, L"AgentMode", 0);
  registry.SetNumber(kLog, L"LogLevel", 8);
  const auto another = library.CreateReport();  // takes the new log level over
  const CapturedOutput output;
  EXPECT_EQ(S_OK, report->Save());
  EXPECT_THAT(output.Text(), HasSubstr(" Quorvel  "));
  EXPECT_THAT(output.Text(), HasSubstr(" Not saving unmanaged\n"));
  EXPECT_TRUE(FilesIn(agentEvents).empty());
}

TEST_F(ReportTest, IncompleteReportIsNotSaved) {
  const CapturedOutput output;
  ASSERT_EQ(S_OK, Initialize(*report));
  EXPECT_EQ(E_FAIL, report->Save());
  ASSERT_EQ(S_OK, AddEvent(*report, L"Event", 1));
  EXPECT_EQ(E_FAIL, report->Save());
  ASSERT_EQ(S_OK, report->CreateMachineElement(nullptr, nullptr, nullptr));
  EXPECT_EQ(S_OK, report->Save());
  const std::string lines = output.Text();
  const auto first = lines.find(" Not saving incomplete\n");
  ASSERT_NE(std::string::npos, first);
  EXPECT_NE(std::string::npos, lines.find(" Not saving incomplete\n", first + 1));
}

struct FailingSave {
  const char* name;
  const wchar_t* softwareId;
  void (*prepare)(RegistrySandbox&, const TempFolder&);
  HRESULT result;
  const char* line;  // part of the logged line; null when nothing may be logged
};

void PrintTo(const FailingSave& row, std::ostream* out) {
  *out << row.name;
}

class FailedSave : public ReportTest, public testing::WithParamInterface<FailingSave> {};

TEST_P(FailedSave, GivesItsCodeAndLeavesNoFile) {
  const auto& row = GetParam();
  ASSERT_EQ(S_OK, Initialize(*report, row.softwareId));
  Fill(*report);
  row.prepare(registry, folder);
  const CapturedOutput output;
  EXPECT_EQ(row.result, report->Save());
  if (row.line)
    EXPECT_THAT(output.Text(), HasSubstr(row.line));
  else
    EXPECT_EQ("", output.Text());
  EXPECT_TRUE(FilesIn(agentEvents).empty());
  EXPECT_TRUE(FilesIn(serverEvents).empty());
}

constexpr auto kServer = L"ORBASRVR_3500";
constexpr auto kOther = L"EXAMPLE__1000";

INSTANTIATE_TEST_SUITE_P(
    , FailedSave,
    testing::Values(
        FailingSave{"ServerFolderUnset", kServer,
                    [](auto& registry, auto&) { registry.Delete(kEventParser, L"EventsPath"); }, E_FAIL,
                    nullptr},
        FailingSave{"ServerFolderTooLong", kServer,
                    [](auto& registry, auto&) {
                      registry.SetText(kEventParser, L"EventsPath", std::wstring(260, L'x'));
                    },
                    E_FAIL, nullptr},
        FailingSave{"ServerFolderBelowAMissingOne", kServer,
                    [](auto& registry, auto& folder) {
                      registry.SetText(kEventParser, L"EventsPath", folder.File(L"missing\\events"));
                    },
                    kNotCreated, " couldn't create file "},
        FailingSave{"ServerReportAtTheLimit", kServer,
                    [](auto& registry, auto&) { registry.SetNumber(kFramework, L"Brenn Size", 10); },
                    kRefused, ":  Event data is too large to be sent to Orba\n"},
        FailingSave{"AgentFolderUnset", kOther,
                    [](auto& registry, auto&) { registry.Delete(kFramework, L"Data Path"); }, E_FAIL,
                    "Failed to get data folder. Error code ="},
        FailingSave{"AgentFolderTooLong", kOther,
                    [](auto& registry, auto&) {
                      registry.SetText(kFramework, L"Data Path", std::wstring(260, L'x'));
                    },
                    E_FAIL, "Failed to get data folder. Error code ="},
        FailingSave{
            "AgentFolderWithoutBackslash", kOther,
            [](auto& registry, auto& folder) { registry.SetText(kFramework, L"Data Path", folder.Path()); },
            kNotCreated, "Couldn't open to write: No such file or directory\n"},
        FailingSave{"AgentReportAtTheLimit", kOther,
                    [](auto& registry, auto&) { registry.SetNumber(kFramework, L"Brenn Size", 10); },
                    kRefused, ". Event data too big \n"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(ReportTest, ReportMustStayBelowTheSizeLimitByOneByte) {
  ASSERT_EQ(S_OK, Initialize(*report));
  Fill(*report);
  ASSERT_EQ(S_OK, report->Save());
  const auto size = static_cast<DWORD>(OnlyFile(agentEvents).size());
  registry.SetNumber(kFramework, L"Brenn Size", size);
  EXPECT_EQ(kRefused, report->Save());
  registry.SetNumber(kFramework, L"Brenn Size", size + 1);
  EXPECT_EQ(S_OK, report->Save());
  EXPECT_EQ(2u, FilesIn(agentEvents).size());
}

struct AgentOnlyCall {
  const char* name;
  const wchar_t* softwareId;  // null for a null argument
  std::wstring extension;
  bool nullExtension;
  HRESULT result;
};

void PrintTo(const AgentOnlyCall& row, std::ostream* out) {
  *out << row.name;
}

class AgentOnlySave : public ReportTest, public testing::WithParamInterface<AgentOnlyCall> {};

TEST_P(AgentOnlySave, ChecksItsArguments) {
  const auto& row = GetParam();
  registry.SetNumber(kFramework, L"AgentMode", 0);  // this call saves on an unmanaged agent too
  ASSERT_EQ(S_OK, Initialize(*report));
  const Bstr softwareId(row.softwareId);
  const Bstr extension(row.extension);
  EXPECT_EQ(row.result,
            report->SaveAgentEventOnly(softwareId, row.nullExtension ? nullptr : BSTR(extension)));
  const auto files = FilesIn(agentEvents);
  ASSERT_EQ(row.result == S_OK ? 1u : 0u, files.size());
  if (row.result != S_OK) return;
  EXPECT_THAT(Narrow(files[0]), testing::EndsWith("." + Narrow(row.extension)));
}

constexpr HRESULT kBadCall = static_cast<HRESULT>(0xFFFFFFF3);
constexpr HRESULT kNoPrefix = static_cast<HRESULT>(0xFFFFFFFB);

INSTANTIATE_TEST_SUITE_P(
    , AgentOnlySave,
    testing::Values(AgentOnlyCall{"PrefixInAnyCase", L"orbaagent_x", L"abc", false, S_OK},
                    AgentOnlyCall{"LongestExtension", L"ORBAAGENT", std::wstring(100, L'e'), false, S_OK},
                    AgentOnlyCall{"ExtensionTooLong", L"ORBAAGENT", std::wstring(201, L'e'), false, kBadCall},
                    AgentOnlyCall{"NullExtension", L"ORBAAGENT", L"", true, kBadCall},
                    AgentOnlyCall{"NullSoftwareId", nullptr, L"xml", false, kBadCall},
                    AgentOnlyCall{"OtherSoftware", L"AGENT", L"xml", false, kNoPrefix}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace varnel::test
