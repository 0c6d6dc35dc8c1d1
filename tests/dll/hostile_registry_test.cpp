#include "support/captured_output.h"
#include "support/library.h"
#include "support/process.h"

#include <filesystem>
#include <set>

namespace varnel::test {
namespace {

using Bytes = std::vector<BYTE>;

// A value that the library reads.
struct Setting {
  const wchar_t* key;
  const wchar_t* name;
};

constexpr Setting kSettings[] = {{kFramework, L"AgentMode"},
                                 {kFramework, L"Data Path"},
                                 {kEventParser, L"EventsPath"},
                                 {kFramework, L"AgentGUID"},
                                 {kFramework, L"IPAddress"},
                                 {kFramework, L"AgPlcyEnableEventTrigger"},
                                 {kFramework, L"AgPlcyEventTriggerThreshold"},
                                 {kFramework, L"Brenn Size"},
                                 {kFramework, L"SelfProtectionClient"},
                                 {kProductOptions, L"ProductType"},
                                 {kLog, L"LogLevel"},
                                 {kLog, L"LogSize"},
                                 {kLog, L"LogDetailList"},
                                 {kLog, L"LogHiRes"},
                                 {kLog, L"LogFlags"}};
constexpr DWORD kTypes[] = {REG_NONE,  REG_SZ,       REG_EXPAND_SZ, REG_BINARY,
                            REG_DWORD, REG_MULTI_SZ, REG_QWORD,     0x7777};
// Around every buffer, in bytes.
constexpr std::size_t kLengths[] = {0,   1,   3,   4,   5,   8,   31,  32,  33,  255,  256,  257,  259,
                                    260, 261, 518, 519, 520, 521, 522, 998, 999, 1000, 1002, 4096, 65'536};
const std::wstring kPatterns[] = {L"\xFFFF", std::wstring(1, L'\0'), L"1234567890", L"N<&'\"> Uu;\xD800"};

Bytes Make(const std::wstring& pattern, std::size_t length) {
  Bytes bytes(length);
  const auto* const from = reinterpret_cast<const BYTE*>(pattern.data());
  for (std::size_t at = 0; at < length; ++at) bytes[at] = from[at % (pattern.size() * 2)];
  return bytes;
}

class HostileRegistry : public AgentTest {
 protected:
  HostileRegistry() {
    std::filesystem::current_path(folder.MakeFolder(L"current"));  // relative paths lead here
    SetGood();
  }
  ~HostileRegistry() override { std::filesystem::current_path(std::filesystem::temp_directory_path()); }

  void SetGood() const {
    for (const auto& setting : kSettings) SetNumber(setting.key, setting.name, 0);
    SetUpAgent(folder.Path(), serverEvents);
    SetNumber(kFramework, L"Brenn Size", 8'912'896);
  }

  // Saves for the agent and for the server; everything that is left lying anywhere is a whole report.
  std::string Report() {
    const CapturedOutput output;
    for (const wchar_t* const softwareId : {kAgent, kServer}) {
      const auto report = library.CreateReport();
      EXPECT_EQ(S_OK, Initialize(*report, softwareId));
      Fill(*report, 3);
      results.insert(report->Save());
    }
    std::string saved;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.Path())) {
      if (!entry.path().extension().string().ends_with("xml")) continue;
      const std::string bytes = ReadDocument(entry.path().wstring());
      EXPECT_TRUE(bytes.starts_with("<?xml ") && bytes.ends_with("</Event></Product></Root>")) << bytes;
      saved += bytes;
      std::filesystem::remove(entry.path());
    }
    return saved;
  }

  Library library;
  std::set<HRESULT> results;
};

// Whatever a value holds, a report has one of its documented ends, and once the value is put right the next
// report is what it was before.
TEST_F(HostileRegistry, HarmsNoLaterReport) {
  const std::string good = Report();
  EXPECT_EQ(std::set<HRESULT>{S_OK}, results);
  const auto every = static_cast<unsigned>(Count(41, 1));
  unsigned form = 0;
  for (const auto& setting : kSettings) {
    for (const std::size_t length : kLengths) {
      for (const DWORD type : kTypes) {
        for (const auto& pattern : kPatterns) {
          if (++form % every != 0) continue;
          SCOPED_TRACE(Narrow(setting.name) + ": type " + std::to_string(type) + ", " +
                       std::to_string(length) + " bytes of " + testing::PrintToString(pattern));
          SetBytes(setting.key, setting.name, type, Make(pattern, length));
          Report();
        }
      }
    }
    SetGood();
    EXPECT_EQ(good, Report()) << Narrow(setting.name);
  }
  EXPECT_EQ((std::set<HRESULT>{S_OK, E_FAIL, VARNEL_E_NOT_WRITTEN, VARNEL_E_TOO_LARGE_OR_NOT_WRITTEN}),
            results);
  std::printf("figures: hostile registry: %u values\n", form / every);
}

}  // namespace
}  // namespace varnel::test
