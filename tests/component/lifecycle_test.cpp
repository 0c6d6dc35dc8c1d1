#include "component/library.h"
#include "support/captured_output.h"

#include <gmock/gmock.h>

#include <limits>
#include <thread>

namespace varnel::test {
namespace {

using testing::HasSubstr;

TEST_F(ReportTest, MissingArgumentIsRefusedBeforeAnythingIsLogged) {
  registry.SetNumber(kLog, L"LogLevel", 8);
  const auto logged = library.CreateReport();
  const CapturedOutput output;
  const Bstr texts[] = {L"a", L"b", L"c", L"d", L"e", L"f"};
  for (int missing = 0; missing < 6; ++missing) {
    BSTR arguments[6];
    for (int i = 0; i < 6; ++i) arguments[i] = i == missing ? nullptr : BSTR(texts[i]);
    EXPECT_EQ(E_FAIL, logged->Initialize(arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                                         arguments[5]));
  }
  EXPECT_EQ("", output.Text());
  EXPECT_EQ(E_FAIL, logged->DeInitialize());
}

TEST_F(ReportTest, FirstLineOfEveryCallNamesTheObjectAndTheArguments) {
  registry.SetNumber(kLog, L"LogLevel", 8);
  const auto logged = library.CreateReport();
  const CapturedOutput output;
  Initialize(*logged, L"ID");
  logged->CreateMachineElement(nullptr, Bstr(L"os"), Bstr(L"user"));
  AddEvent(*logged, L"Event", 12, 3);
  ComPtr<IUnknown> element;
  static_cast<IOrbaEventInf*>(logged.Get())->GetMachineElement(element.Put());
  logged->SaveAgentEventOnly(Bstr(L"AGENT"), Bstr(L"abcd"));
  for (const char* const part :
       {" Initialize ID|Root|Product|Name|1.2|Family\n", " CreateMachineElement (null)|os|user\n",
        " CreateEventElement Event|12|3\n", " GetMachineElement\n", " SaveAgentEventOnly AGENT|4|200\n"})
    EXPECT_THAT(output.Text(), HasSubstr(part));
}

TEST_F(ReportTest, EmptyTextsMakeEmptyNames) {
  const Bstr empty(L"");
  ASSERT_EQ(S_OK, report->Initialize(Bstr(L"ORBAAGENT"), empty, empty, empty, empty, empty));
  ASSERT_EQ(S_OK, report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")));
  EXPECT_THAT(OnlyFile(agentEvents),
              testing::EndsWith("ProductName=\"\" ProductVersion=\"\" ProductFamily=\"\"/></>"));
}

TEST_F(ReportTest, SoftwareIdIsCutAt259Characters) {
  const std::wstring longId = std::wstring(L"ORBASRVR_3500") + std::wstring(300, L'x');
  ASSERT_EQ(S_OK, Initialize(*report, longId.c_str()));
  Fill(*report);
  EXPECT_EQ(S_OK, report->Save());
  EXPECT_EQ(1u, FilesIn(agentEvents).size());
}

TEST_F(ReportTest, FilterRefusesListedEventsAndWholeProducts) {
  folder.MakeFolder(L"data");
  ASSERT_EQ(S_OK, Initialize(*report));
  WriteBytes(folder.File(L"data\\EvtFiltr.ini"), "[Filter]\r\nDisabledEvent=1001;1002;");
  EXPECT_EQ(kDisabled, AddEvent(*report, L"Event", 1002));
  EXPECT_EQ(S_OK, AddEvent(*report, L"Event", 100));
  WriteBytes(folder.File(L"data\\EvtFiltr.ini"), "DisabledEvent=0;");
  const auto another = library.CreateReport();
  EXPECT_EQ(kDisabled, Initialize(*another));
  EXPECT_EQ(E_FAIL, another->DeInitialize());
}

TEST_F(ReportTest, SecondInitializeStartsANewDocumentAndKeepsTheOldElementsUsable) {
  ASSERT_EQ(S_OK, Initialize(*report));
  ComPtr<IEventElement> old;
  IOrbaEventInf2& typed = *report.Get();
  ASSERT_EQ(S_OK, typed.CreateEventElement(Bstr(L"Old"), 1, 1, kNoon2024, old.Put()));
  ASSERT_EQ(S_OK, Initialize(*report));
  EXPECT_EQ(S_OK, old->SetAttributeInt(Bstr(L"A"), 1));
  ASSERT_EQ(S_OK, AddEvent(*report, L"New", 2));
  ASSERT_EQ(S_OK, report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")));
  const std::string saved = OnlyFile(agentEvents);
  EXPECT_THAT(saved, HasSubstr("<New>"));
  EXPECT_THAT(saved, testing::Not(HasSubstr("<Old")));
}

TEST_F(ReportTest, ObjectCanBeUsedAgainAfterDeInitialize) {
  for (int round = 0; round < 3; ++round) {
    ASSERT_EQ(S_OK, Initialize(*report));
    Fill(*report);
    ASSERT_EQ(S_OK, report->Save());
    ASSERT_EQ(S_OK, report->DeInitialize());
  }
  EXPECT_EQ(3u, FilesIn(agentEvents).size());
}

TEST_F(ReportTest, ImpossibleDateFailsInOneVersionAndGivesZerosInTheOther) {
  ASSERT_EQ(S_OK, Initialize(*report));
  for (const DATE bad : {-700000.0, 2958466.0, std::numeric_limits<double>::quiet_NaN()}) {
    IUnknown* untouched = nullptr;
    EXPECT_EQ(
        E_FAIL,
        static_cast<IOrbaEventInf*>(report.Get())->CreateEventElement(Bstr(L"No"), 1, 1, bad, &untouched));
    EXPECT_EQ(nullptr, untouched);
  }
  ComPtr<IEventElement> event;
  EXPECT_EQ(S_OK, static_cast<IOrbaEventInf2*>(report.Get())
                      ->CreateEventElement(Bstr(L"Zero"), 1, 1, 2958466.0, event.Put()));
  EXPECT_TRUE(event);
  ASSERT_EQ(S_OK, report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")));
  const std::string saved = OnlyFile(agentEvents);
  EXPECT_THAT(saved,
              HasSubstr("<Zero><EventID>1</EventID><Severity>1</Severity><GMTTime>0000-00-00T00:00:00<"));
  EXPECT_THAT(saved, testing::Not(HasSubstr("<No>")));
}

TEST_F(ReportTest, GettersHandOutTheElementsOfTheDocument) {
  ASSERT_EQ(S_OK, Initialize(*report));
  ComPtr<IEventElement> machine;
  ComPtr<IUnknown> software;
  ASSERT_EQ(S_OK, static_cast<IOrbaEventInf2*>(report.Get())->GetMachineElement(machine.Put()));
  ASSERT_EQ(S_OK, static_cast<IOrbaEventInf*>(report.Get())->GetSoftwareElement(software.Put()));
  EXPECT_EQ(E_FAIL, static_cast<IOrbaEventInf*>(report.Get())->GetMachineElement(nullptr));
  ComPtr<IEventElement> softwareElement;
  ASSERT_EQ(S_OK, software->QueryInterface(IID_IEventElement, softwareElement.PutVoid()));
  ASSERT_EQ(S_OK, machine->AppendElement(Bstr(L"Behind"), Bstr(L"1"), nullptr));
  ASSERT_EQ(S_OK, softwareElement->AddElementInto(Bstr(L"X"), Bstr(L"2"), nullptr));
  ASSERT_EQ(S_OK, report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")));
  EXPECT_THAT(OnlyFile(agentEvents), testing::EndsWith("<X>2</X></Product><Behind>1</Behind></Root>"));
}

TEST_F(ReportTest, ThreadsWithObjectsOfTheirOwnLoseNoReport) {
  constexpr int kThreads = 4;
  constexpr int kReports = 25;
  std::vector<std::thread> threads;
  std::atomic<int> saved{0};
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < kReports; ++n) {
        const auto own = library.CreateReport();
        if (Initialize(*own, L"ORBASRVR_3500") == S_OK &&
            own->CreateMachineElement(nullptr, nullptr, nullptr) == S_OK && AddEvent(*own, L"E", 1) == S_OK &&
            own->Save() == S_OK)
          ++saved;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(kThreads * kReports, saved);
  const auto files = FilesIn(serverEvents);
  EXPECT_EQ(std::size_t{kThreads * kReports}, files.size());
  for (const auto& file : files)
    EXPECT_THAT(ReadBytes(serverEvents + L"\\" + file), testing::EndsWith("</Root>"));
}

}  // namespace
}  // namespace varnel::test
