#include "probes/event_time.h"
#include "probes/os_name.h"
#include "probes/os_name_rule.h"
#include "support/registry_sandbox.h"
#include "support/text.h"

#include <gtest/gtest.h>

#include <sstream>

namespace varnel {
namespace {

using namespace test;

TEST(OsName, FollowsTheTable) {
  for (const Row& row : Rules("OS name")) {
    OsFacts facts;
    std::wstring type;
    std::istringstream words(row[0]);
    char dot = 0;
    words >> facts.platform >> facts.major >> dot >> facts.minor;
    for (std::string word; words >> word;) {
      if (word == "r2") facts.serverR2 = true;
      if (word == "again") words >> facts.minorAskedAgain;
      if (word == "type") {
        words >> word;
        facts.productType = type = Wide(word);
      } else if (word == "workstation" || word == "server") {
        facts.extended = {0, word == "workstation"};
        words >> facts.extended->minor;
      }
    }
    EXPECT_EQ(row[1], Narrow(OsNameFrom(facts).value_or(L"-"))) << row[0];
  }
}

TEST(OsName, ProductTypeComesFromTheRegistry) {
  const RegistrySandbox registry;
  wchar_t text[260];
  EXPECT_EQ(0, ReadProductTypeText(text, 260));
  EXPECT_STREQ(L"N/A", text);
  for (const Row& row : Rules("product type")) {
    SetText(kProductOptions, L"ProductType", Wide(row[0]));
    ReadProductTypeText(text, 260);
    EXPECT_EQ(row[1], Narrow(text)) << row[0];
  }
}

TEST(EventTime, FollowsTheRules) {
  for (const Row& row : Rules("event time")) {
    const auto time = SystemTimeFromDate(std::stod(row[0]));
    EXPECT_EQ(row[1], time ? Narrow(TimeText(*time).c_str()) : "none") << row[0];
  }
  EXPECT_STREQ(L"0000-00-00T00:00:00", TimeText({}).c_str());
  EXPECT_STREQ(L"12345-13-99T25:61:65535", TimeText({12345, 13, 9, 99, 25, 61, 65535, 999}).c_str());
}

}  // namespace
}  // namespace varnel
