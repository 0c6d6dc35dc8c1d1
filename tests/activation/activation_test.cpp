#include "component/library.h"
#include "support/child_process.h"

#include <gmock/gmock.h>

#include <future>

namespace varnel::test {
namespace {

using testing::HasSubstr;

// Registered as regsvr32 does it.
class ActivationTest : public MachineAgentTest {
 protected:
  ActivationTest() { EXPECT_EQ(S_OK, library.Export<HRESULT(STDAPICALLTYPE*)()>("DllRegisterServer")()); }
  ~ActivationTest() override {
    EXPECT_EQ(S_OK, library.Export<HRESULT(STDAPICALLTYPE*)()>("DllUnregisterServer")());
  }

  // What the script prints; it is judged by that and by its file, since the engine's status hides errors.
  std::string RunScript(const std::wstring& path, const std::wstring& arguments = L"") {
    const std::wstring output = folder.File(L"output.txt");
    ChildProcess(L"cmd /c cscript //nologo " + path + L" " + arguments + L" > " + output).Wait(60'000);
    return ReadBytes(output);
  }

  Library library;
};

void ReportFrom(DWORD apartment) {
  ASSERT_EQ(S_OK, CoInitializeEx(nullptr, apartment));
  {
    ComPtr<IOrbaEventInf3> report;
    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_OrbaEventInf, nullptr, CLSCTX_INPROC_SERVER, IID_IOrbaEventInf3,
                                     report.PutVoid()));
    const Bstr text(L"x");
    EXPECT_EQ(S_OK, report->Initialize(Bstr(L"EXAMPLE"), text, text, text, text, text));
    EXPECT_EQ(S_OK, report->CreateMachineElement(text, text, text));
    ComPtr<IEventElement> event;
    IOrbaEventInf2& typed = *report;
    EXPECT_EQ(S_OK, typed.CreateEventElement(Bstr(L"Event"), 1, 1, kNoon2024, event.Put()));
    ASSERT_TRUE(event);
    EXPECT_EQ(S_OK, event->SetAttributeInt(Bstr(L"Apartment"), static_cast<long>(apartment)));
    EXPECT_EQ(S_OK, report->Save());
    EXPECT_EQ(S_OK, report->DeInitialize());
  }
  CoUninitialize();
}

TEST_F(ActivationTest, ReportsComeFromBothKindsOfApartments) {
  for (const DWORD apartment : {COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED}) {
    std::async(std::launch::async, ReportFrom, apartment).get();
    const auto files = FilesIn(agentEvents);
    ASSERT_EQ(1u, files.size());
    const std::wstring path = agentEvents + L"\\" + files[0];
    EXPECT_THAT(ReadBytes(path), HasSubstr("<Event Apartment=\"" + std::to_string(apartment) + "\">"));
    DeleteFileW(path.c_str());
  }
}

TEST_F(ActivationTest, ScriptReportsToTheAgentAndToTheServer) {
  const std::string script = "Z:" VARNEL_SAMPLES "/report_event.vbs";
  const std::wstring path(script.begin(), script.end());
  EXPECT_THAT(RunScript(path, L"EXAMPLE__1000"), HasSubstr("reported"));
  EXPECT_THAT(RunScript(path), HasSubstr("reported"));
  for (const auto& where : {agentEvents, serverEvents})
    EXPECT_THAT(OnlyFile(where),
                HasSubstr("<MalwareDetected Engine=\"heuristics\" Confidence=\"97\">"
                          "<EventID>1024</EventID><Severity>3</Severity>"
                          "<GMTTime>2024-03-07T09:05:03</GMTTime><File Action=\"quarantined\">"
                          "C:\\&lt;setup&gt; &amp; &quot;more&quot;.exe</File>"
                          "<Scan>on access</Scan></MalwareDetected>"));
}

TEST_F(ActivationTest, ScriptReadsWhatWentWrong) {
  const std::wstring path = folder.File(L"failing.vbs");
  WriteBytes(path,
             "On Error Resume Next\r\nSet report = CreateObject(\"Varnel.OrbaEventInf\")\r\n"
             "report.SaveAgentEventOnly \"OTHER\", \"\"\r\n"
             "WScript.Echo Err.Number & \"|\" & Err.Source & \"|\" & Err.Description\r\n");
  EXPECT_THAT(RunScript(path), HasSubstr("-5|Varnel.OrbaEventInf|SaveAgentEventOnly: the software identifier "
                                         "does not begin with ORBAAGENT (0xFFFFFFFB)."));
}

}  // namespace
}  // namespace varnel::test
