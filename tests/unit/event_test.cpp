#include "events/event_file.h"
#include "events/machine_info.h"
#include "probes/adapters.h"
#include "support/text.h"
#include "unit/log_fixture.h"

#include <gmock/gmock.h>

namespace varnel {
namespace {

using AdvXMLParser::Document;
using AdvXMLParser::Element;

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
  for (const auto& row : test::Rules("bias"))
    EXPECT_EQ(row[1], test::Narrow(TimeZoneBiasFrom(std::stoul(row[0]), zone))) << row[0];
}

TEST_F(LogTest, MacAddressIsThatOfTheFirstAdapterWhereNoAddressIsKnown) {
  Document document(L"R");
  Element& machine = *document.Root();
  machine.AddElement(L"AgentGUID");
  EXPECT_FALSE(AddMacAddress(&machine));
  EXPECT_THAT(lines, testing::ElementsAre("5 Quorvel: PopulateMAC() called with uninitialized IP element"));
  machine.AddElement(L"IPAddress")->AddText(L"");
  EXPECT_TRUE(AddMacAddress(&machine));
  CandidateTable table;
  const std::string mac = SelectMacAddress(table) ? table.adapters.begin()->second.mac : "";
  EXPECT_THAT(document.ToString(false),
              testing::EndsWith(L"<RawMACAddress>" + test::Wide(mac) + L"</RawMACAddress></R>"));
}

}  // namespace
}  // namespace varnel
