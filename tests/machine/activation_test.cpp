#include "support/library.h"
#include "support/process.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>

namespace varnel::test {
namespace {

using testing::HasSubstr;

// Registered as regsvr32 does it.
class Activation : public MachineAgentTest {
 protected:
  Activation() { EXPECT_EQ(S_OK, library.Call("DllRegisterServer")); }
  ~Activation() override { EXPECT_EQ(S_OK, library.Call("DllUnregisterServer")); }

  // Runs the script and returns its output. WINE: 8's cscript returns 0 after an error, so tests check the
  // output.
  std::string RunScript(const std::wstring& path, const std::wstring& arguments = L"") {
    const std::wstring output = folder.File(L"output.txt");
    ChildProcess(L"cmd /c cscript //nologo " + path + L" " + arguments + L" > " + output).Wait(60'000);
    return ReadBytes(output);
  }

  Library library;
};

// As event files write it.
std::string UtcNow() {
  SYSTEMTIME now;
  GetSystemTime(&now);
  char text[40];
  std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02d", now.wYear, now.wMonth, now.wDay,
                now.wHour, now.wMinute, now.wSecond);
  return text;
}

// The tests' local time is five hours behind.
TEST_F(Activation, ScriptReportsToTheAgentAndToTheServerAndReadsWhatWentWrong) {
  const std::wstring sample = Wide(VARNEL_FACTS "/../samples/report_event.vbs");
  const std::string before = UtcNow();
  EXPECT_THAT(RunScript(sample, kAgent), HasSubstr("reported"));
  EXPECT_THAT(RunScript(sample), HasSubstr("reported"));
  for (const auto& where : {agentEvents, serverEvents}) {
    const auto parts = RegexParts(TakeFiles(where),
                                  ".*<MalwareDetected Engine=\"heuristics\" Confidence=\"97\">"
                                  "<EventID>1024</EventID><Severity>3</Severity>"
                                  "<GMTTime>([^<]*)</GMTTime><File Action=\"quarantined\">"
                                  "C:\\\\&lt;setup&gt; &amp; &quot;more&quot;.exe</File>"
                                  "<Scan>on access</Scan></MalwareDetected><SignaturesUpdated>.*");
    ASSERT_EQ(2u, parts.size()) << Narrow(where);
    EXPECT_LE(before, parts[1]);
    EXPECT_GE(UtcNow(), parts[1]);
  }
  SetText(kFramework, L"Data Path", folder.File(L"missing\\"));
  EXPECT_THAT(RunScript(sample, kAgent),
              HasSubstr("Save: Varnel.OrbaEventInf FFFFFFD7 Save: the event file could"));
}

TEST_F(Activation, ExampleOfTheLanguagesPageIsPartOfTheSample) {
  const std::string sample = ReadFacts("../samples/report_event.vbs");
  const std::string page = ReadFacts("../docs/languages.md");
  const std::size_t scripts = page.find("\n## Scripts");
  ASSERT_NE(std::string::npos, scripts);
  const std::size_t next = page.find("\n## ", scripts + 1);
  const auto lines = RegexMatches(page.substr(scripts, next - scripts), "\n    ([^\n]+)");
  EXPECT_LT(5u, lines.size());
  for (const auto& line : lines) EXPECT_THAT(sample, HasSubstr("\n" + line[1] + "\n"));
}

// The facts of the machine and the times are this machine's; everything else on the page is the file's.
TEST_F(Activation, ExampleOfTheFormatPageIsWhatTheSampleWrites) {
  const auto page = RegexMatches(ReadFacts("../docs/event-format.md"), "```xml\\n([^`]+)```");
  ASSERT_EQ(1u, page.size());
  EXPECT_EQ(0u, ChildProcess(L"" VARNEL_BIN "/report_event.exe").Wait(60'000));
  const auto withoutFacts = [](const std::string& text) {
    return RegexReplaced(
        text, "<(MachineName|AgentGUID|IPAddress|OSName|UserName|TimeZoneBias|RawMACAddress|GMTTime)>[^<]*",
        "<$1>");
  };
  EXPECT_EQ(withoutFacts(RegexReplaced(page[0][1], "\n *", "")), withoutFacts(TakeFiles(agentEvents)));
}

// The sample's own imports are not planted, so it is the library that would have loaded what runs.
TEST_F(Activation, NothingInTheHostsFolderRuns) {
  const std::wstring host = folder.MakeFolder(L"host");
  std::filesystem::copy_file(VARNEL_BIN "/report_event.exe", host + L"\\host.exe");
  for (const wchar_t* const name :
       {L"bcrypt", L"crypt32", L"cryptbase", L"cryptsp", L"dnsapi", L"dhcpcsvc", L"iphlpapi", L"mswsock",
        L"nsi", L"rsaenh", L"secur32", L"wintrust", L"ws2_32"}) {
    std::filesystem::copy_file(VARNEL_PLANTED, host + L"\\" + name + L".dll");
    // Wine prefers its own libraries, Windows the host's folder.
    RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\Wine\\DllOverrides", name, REG_SZ, L"native,builtin", 30);
  }
  EXPECT_EQ(0u, ChildProcess(host + L"\\host.exe").Wait(60'000));
  EXPECT_NE("", TakeFiles(agentEvents) + TakeFiles(serverEvents));
  for (const auto& file : FilesIn(host)) EXPECT_FALSE(file.ends_with(L".ran")) << Narrow(file);
  EXPECT_NE(nullptr, LoadLibraryW((host + L"\\wintrust.dll").c_str()));
  EXPECT_TRUE(Exists(host + L"\\wintrust.dll.ran")) << "it does run";
}

}  // namespace
}  // namespace varnel::test
