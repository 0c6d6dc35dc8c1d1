// varnel_agent.dll: agents for tests in languages that C++ headers do not serve.

#include "support/library.h"
#include "varnel/varnel.hpp"
#include "varnel_agent.h"

#include <gmock/gmock.h>

#include <memory>

namespace varnel::test {
namespace {

using ::testing::HasSubstr;

constexpr wchar_t kDataPath[] = L"Data Path";

class AgentDll : public ::testing::Test {
 protected:
  struct Destroyer {
    void operator()(VarnelAgent* agent) const { VarnelAgentDestroy(agent); }
  };

  static std::string Error() { return Narrow(VarnelAgentError()); }

  // Saves a report after a call that has to succeed.
  void Expect(HRESULT result, int call) const {
    EXPECT_EQ(1, call) << Error();
    EXPECT_EQ(result, Save());
    const wchar_t* const document = VarnelAgentTakeReport(agent);
    EXPECT_EQ("", Error());
    EXPECT_EQ(result == S_OK, document != nullptr);
    EXPECT_THAT(Narrow(document ? document : L""),
                HasSubstr(result == S_OK ? "<EventID>1000</EventID>" : ""));
    EXPECT_EQ(nullptr, VarnelAgentTakeReport(agent));
  }

  const std::unique_ptr<VarnelAgent, Destroyer> owner{VarnelAgentCreate(Library::Path().c_str())};
  VarnelAgent* const agent = owner.get();
  const std::wstring path = VarnelAgentLibraryPath(agent);
  const varnel::Library library = varnel::Library::FromFile(path.c_str());

 private:
  HRESULT Save() const {
    varnel::Report report;
    HRESULT result =
        report.TryOpen(library, {kAgent, "Root", "Product", "Name", "1.2", "Family"}, Unmanaged::kRefuse);
    if (result == S_OK) result = report.TryAddMachine();
    if (result == S_OK) result = report.TryAddEvent("E", 1000, 1);
    return result == S_OK ? report.TrySave() : result;
  }
};

TEST_F(AgentDll, DoesWhatEachFunctionSays) {
  const TempFolder kept;
  Expect(S_OK, VarnelAgentSetNumber(agent, L"LogLevel", 8));
  EXPECT_NE(nullptr, VarnelAgentTakeLogLine(agent));
  while (VarnelAgentTakeLogLine(agent)) continue;
  EXPECT_EQ("", Error());
  Expect(S_OK, VarnelAgentKeepReports(agent, kept.Path().c_str()));
  EXPECT_EQ(1u, FilesIn(kept.Path()).size());
  Expect(VARNEL_E_NOT_MANAGED, VarnelAgentSetNumber(agent, L"AgentMode", 0));
  Expect(S_OK, VarnelAgentSetNumber(agent, L"AgentMode", 1));
  Expect(VARNEL_E_EVENT_DISABLED, VarnelAgentDisableEvent(agent, 1000));
  Expect(S_OK, VarnelAgentEnableEvents(agent));
  Expect(VARNEL_E_NOT_WRITTEN, VarnelAgentRemoveFolder(agent));
  Expect(S_OK, VarnelAgentRestoreFolder(agent));
  Expect(E_FAIL, VarnelAgentRemoveSetting(agent, kDataPath));
  Expect(S_OK, VarnelAgentSetText(agent, kDataPath, path.substr(0, path.rfind(L'\\') + 1).c_str()));
  const HRESULT failures[] = {VARNEL_E_NOT_WRITTEN, VARNEL_E_NOT_WRITTEN, E_OUTOFMEMORY};
  for (unsigned fault = 0; fault < 3; ++fault) {
    Expect(failures[fault], VarnelAgentFail(agent, fault, 1));
    EXPECT_EQ(1u, VarnelAgentFailures(agent, fault));
    Expect(S_OK, VarnelAgentRecover(agent));
  }
}

TEST_F(AgentDll, GivesReportObjects) {
  ComPtr<IOrbaEventInf3> report;
  EXPECT_EQ(1, VarnelAgentCreateReport(agent, report.PutVoid()));
  Initialize(*report);
  Fill(*report);
  EXPECT_EQ(S_OK, report->Save());
  EXPECT_NE(nullptr, VarnelAgentTakeReport(agent));
}

TEST_F(AgentDll, SaysWhatWasWrong) {
  EXPECT_EQ(nullptr, VarnelAgentCreate(L"C:\\none.dll"));
  EXPECT_THAT(Error(), HasSubstr("none.dll\" cannot be copied"));
  EXPECT_EQ(0, VarnelAgentFail(agent, 4, 0));
  EXPECT_THAT(Error(), HasSubstr("fault 4 is unknown. Pass 0 to 3"));
  EXPECT_EQ(1, VarnelAgentFail(agent, 3, 0));
  EXPECT_EQ("", Error());
  EXPECT_EQ(0, VarnelAgentAwaitBlockedSave(agent, 0));
}

}  // namespace
}  // namespace varnel::test
