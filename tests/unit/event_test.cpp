#include "events/event_file.h"
#include "events/machine_info.h"
#include "events/results.h"
#include "probes/adapters.h"
#include "support/text.h"
#include "unit/log_fixture.h"

#include <gmock/gmock.h>

#include <set>

namespace varnel {
namespace {

using AdvXMLParser::Document;
using AdvXMLParser::Element;

TEST(Results, HaveWordsOfTheirOwn) {
  std::set<std::wstring> words;
  for (const HRESULT code : {E_UNEXPECTED, E_FAIL, E_OUTOFMEMORY, kAgentNotManaged, kEventDisabled,
                             kEventFileNotWritten, kTooLargeOrNotWritten, kBadArgument, kNotAnAgentComponent})
    words.insert({DescribeResult(code).meaning, DescribeResult(code).remedy});
  EXPECT_EQ(18u, words.size());
}

TEST(AgentEventFile, NameIsTimeRandomPartAndThread) {
  const SYSTEMTIME time{2024, 3, 5, 15, 14, 30, 25, 123};
  for (const auto& row : test::Rules("agent file"))
    EXPECT_EQ(row[1], test::Narrow(AgentEventFileName(time, std::stoul(row[0]), 0x12A4)));
}

TEST(MachineInfo, BiasAddsDaylightTimeOnly) {
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = -60;
  zone.StandardBias = -7;
  zone.DaylightBias = -60;
  const std::pair<DWORD, const wchar_t*> rows[] = {{TIME_ZONE_ID_UNKNOWN, L"-60"},
                                                   {TIME_ZONE_ID_STANDARD, L"-60"},
                                                   {TIME_ZONE_ID_DAYLIGHT, L"-120"},
                                                   {TIME_ZONE_ID_INVALID, L"0"}};
  for (const auto& [zoneId, bias] : rows) EXPECT_EQ(bias, TimeZoneBiasFrom(zoneId, zone));
}

TEST_F(LogTest, MacAddressNeedsTheFactsAndTakesTheFirstAdapterWithoutAnAddress) {
  Document document(L"R");
  Element& machine = *document.Root();
  EXPECT_FALSE(AddMacAddress(nullptr));
  EXPECT_FALSE(AddMacAddress(&machine));
  machine.AddElement(L"AgentGUID");
  EXPECT_FALSE(AddMacAddress(&machine));
  EXPECT_THAT(lines,
              testing::ElementsAre("5 Quorvel: PopulateMAC() called with uninitialized machine element",
                                   "5 Quorvel: PopulateMAC() called with uninitialized GUID element",
                                   "5 Quorvel: PopulateMAC() called with uninitialized IP element"));
  machine.AddElement(L"IPAddress")->AddText(L"");
  EXPECT_TRUE(AddMacAddress(&machine));
  CandidateTable table;
  const bool found = SelectMacAddress(table);
  const std::string mac = found ? table.adapters.begin()->second.mac : "";
  EXPECT_THAT(
      document.ToString(false),
      testing::EndsWith(L"<RawMACAddress>" + std::wstring(mac.begin(), mac.end()) + L"</RawMACAddress></R>"));
}

}  // namespace
}  // namespace varnel
