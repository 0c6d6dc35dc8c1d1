#include "probes/adapter_table.h"

#include <gmock/gmock.h>

namespace varnel {
namespace {

TEST(AdapterTable, LowestInterfaceIndexWinsAndTextsCompareExactly) {
  CandidateTable table;
  table.adapters[12] = {"0c", "a", 12, {{"10.0.0.5", kFamilyIPv4, "", ""}}, false};
  table.adapters[7] = {
      "07", "b", 7, {{"fe80::1", kFamilyIPv6, "", ""}, {"10.0.0.5", kFamilyIPv4, "", ""}}, false};
  const Adapter* const found = FindAdapterByAddress("10.0.0.5", table);
  ASSERT_NE(nullptr, found);
  EXPECT_EQ("07", found->mac);
  EXPECT_EQ(nullptr, FindAdapterByAddress("FE80::1", table));
  EXPECT_EQ(nullptr, FindAdapterByAddress("10.0.0.50", table));
  EXPECT_EQ(12u, GetAdapterByIndex(table, 12)->index);
  EXPECT_EQ(nullptr, GetAdapterByIndex(table, 13));
}

TEST(AdapterTable, SkipsTunnelsDeadAdaptersAndLoopbackUnlessAsked) {
  struct {
    std::uint32_t type;
    std::uint32_t status;
    bool includeLoopback;
    bool candidate;
  } const rows[] = {{6, 1, false, true},   {6, 2, false, false}, {6, 7, false, true},  {131, 1, true, false},
                    {24, 1, false, false}, {24, 1, true, true},  {24, 2, true, false}, {23, 1, false, true}};
  for (const auto& row : rows)
    EXPECT_EQ(row.candidate, IsCandidate(row.type, row.status, row.includeLoopback))
        << row.type << "/" << row.status;
}

TEST(AdapterTable, MacTextIsSixBytesOrNothing) {
  const std::uint8_t bytes[] = {0x00, 0xA0, 0xC9, 0x1E, 0x2B, 0x7F, 0x11, 0x22};
  EXPECT_EQ("00a0c91e2b7f", MacText(bytes, 6));
  EXPECT_EQ("00a0c91e2b7f", MacText(bytes, 8));
  EXPECT_EQ("00a0c9000000", MacText(bytes, 3));
  EXPECT_EQ("", MacText(bytes, 0));
}

TEST(AdapterTable, IPv6TextsGetEightGroups) {
  struct {
    const char* text;
    const char* normalized;
  } const rows[] = {
      {"fe80::1%12", "fe80:0:0:0:0:0:0:1"},
      {"::", "0:0:0:0:0:0:0:0"},
      {"::1", "0:0:0:0:0:0:0:1"},
      {"2001:DB8::", "2001:DB8:0:0:0:0:0:0"},
      {"1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8"},
      {"1::00a:8", "1:0:0:0:0:0:00a:8"},
      {"::ffff:192.0.2.33", "0:0:0:0:0:ffff:c000:221"},
      {"64:ff9b::10.0.0.1%3", "64:ff9b:0:0:0:0:a00:1"},
      {"", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(row.normalized, NormalizeIPv6(row.text)) << row.text;
}

TEST(AdapterTable, NetworkIsTheMaskedAddress) {
  EXPECT_EQ("fe80:0:0:0:0:0:0:0", IPv6Network("FE80:0:0:0:0:0:0:1", "ffff:ffff:ffff:ffff:0:0:0:0"));
  EXPECT_EQ("2001:db8:0:ab00:0:0:0:0",
            IPv6Network("2001:0DB8:0:ABCD:1:2:3:4", "ffff:ffff:ffff:ff00:0:0:0:0"));
  EXPECT_EQ("", IPv6Network("1:2:3", "ffff:0:0:0:0:0:0:0"));
  EXPECT_EQ("", IPv6Network("1:2:3:4:5:6:7:8", ""));
}

}  // namespace
}  // namespace varnel
