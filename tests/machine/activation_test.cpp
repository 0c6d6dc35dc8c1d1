#include "support/library.h"
#include "support/process.h"

#include <gmock/gmock.h>

#include <thread>

namespace varnel::test {
namespace {

using testing::HasSubstr;

// Registered as regsvr32 does it.
class Activation : public MachineAgentTest {
 protected:
  Activation() { EXPECT_EQ(S_OK, library.Call("DllRegisterServer")); }
  ~Activation() override { EXPECT_EQ(S_OK, library.Call("DllUnregisterServer")); }

  // What the script prints; it is judged by that and by its file, since the engine's status hides errors.
  std::string RunScript(const std::wstring& path, const std::wstring& arguments = L"") {
    const std::wstring output = folder.File(L"output.txt");
    ChildProcess(L"cmd /c cscript //nologo " + path + L" " + arguments + L" > " + output).Wait(60'000);
    return ReadBytes(output);
  }

  Library library;
};

TEST_F(Activation, ReportsComeFromBothKindsOfApartments) {
  for (const DWORD apartment : {COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED}) {
    std::jthread([&] {
      ASSERT_EQ(S_OK, CoInitializeEx(nullptr, apartment));
      {
        ComPtr<IOrbaEventInf3> report;
        ASSERT_EQ(S_OK, CoCreateInstance(CLSID_OrbaEventInf, nullptr, CLSCTX_INPROC_SERVER,
                                         IID_IOrbaEventInf3, report.PutVoid()));
        EXPECT_EQ(S_OK, Initialize(*report.Get()));
        EXPECT_EQ(S_OK, report->CreateMachineElement(Bstr(L""), Bstr(L""), Bstr(L"")));
        ComPtr<IEventElement> event;
        IOrbaEventInf2& typed = *report;
        EXPECT_EQ(S_OK, typed.CreateEventElement(Bstr(L"Event"), 1, 1, kNoon2024, event.Put()));
        ASSERT_TRUE(event);
        EXPECT_EQ(S_OK, event->SetAttributeInt(Bstr(L"Apartment"), static_cast<long>(apartment)));
        EXPECT_EQ(S_OK, report->Save());
        EXPECT_EQ(S_OK, report->DeInitialize());
      }
      CoUninitialize();
    }).join();
    EXPECT_THAT(TakeFiles(agentEvents), HasSubstr("<Event Apartment=\"" + std::to_string(apartment) + "\">"));
  }
}

TEST_F(Activation, ScriptReportsToTheAgentAndToTheServerAndReadsWhatWentWrong) {
  const std::wstring sample = Wide(VARNEL_FACTS "/../samples/report_event.vbs");
  EXPECT_THAT(RunScript(sample, kAgent), HasSubstr("reported"));
  EXPECT_THAT(RunScript(sample), HasSubstr("reported"));
  for (const auto& where : {agentEvents, serverEvents})
    EXPECT_THAT(TakeFiles(where),
                HasSubstr("<MalwareDetected Engine=\"heuristics\" Confidence=\"97\">"
                          "<EventID>1024</EventID><Severity>3</Severity>"
                          "<GMTTime>2024-03-07T09:05:03</GMTTime><File Action=\"quarantined\">"
                          "C:\\&lt;setup&gt; &amp; &quot;more&quot;.exe</File>"
                          "<Scan>on access</Scan></MalwareDetected>"));
  SetText(kFramework, L"Data Path", folder.File(L"missing\\"));
  EXPECT_THAT(RunScript(sample, kAgent),
              HasSubstr("Save: Varnel.OrbaEventInf FFFFFFD7 Save: the event file could"));
}

}  // namespace
}  // namespace varnel::test
