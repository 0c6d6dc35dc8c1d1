#pragma once

#include "support/captured_output.h"
#include "support/library.h"

namespace varnel::test {

// A report that is saved in surroundings that the test makes hostile.
class Hostile : public AgentTest {
 protected:
  Hostile() { folder.MakeFolder(L"ServerEvents"); }

  static HRESULT Save(IOrbaEventInf3& report, const wchar_t* softwareId = kServer) {
    const CapturedOutput output;
    EXPECT_EQ(S_OK, Initialize(report, softwareId));
    Fill(report);
    return report.Save();
  }
  HRESULT Save(const wchar_t* softwareId = kServer) const {
    return Save(*library.CreateReport(), softwareId);
  }

  Library library;
};

}  // namespace varnel::test
