#include "events/event_file.h"
#include "events/machine_info.h"
#include "support/import_hook.h"
#include "support/text.h"
#include "unit/log_fixture.h"

#include <winsock2.h>
#include <gmock/gmock.h>
#include <iphlpapi.h>

#include <utility>

namespace varnel {
namespace {

using AdvXMLParser::Document;
using AdvXMLParser::Element;

TEST(AgentEventFile, NameIsTimeRandomPartAndThread) {
  const SYSTEMTIME time{2024, 3, 5, 15, 14, 30, 25, 123};
  for (const auto& row : test::Rules("agent file"))
    EXPECT_EQ(row[1], test::Narrow(AgentEventFileName(time, std::stoul(row[0]), 0x12A4))) << row[0];
}

TEST(MachineInfo, BiasAddsDaylightTimeOnly) {
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = -60;
  zone.StandardBias = -7;
  zone.DaylightBias = -60;
  for (const auto& row : test::Rules("bias"))
    EXPECT_EQ(row[1], test::Narrow(TimeZoneBiasFrom(std::stoul(row[0]), zone))) << row[0];
}

// Two made-up adapters in place of the machine's.
struct MadeUpAdapters {
  static inline sockaddr_in sockets[2];
  static inline IP_ADAPTER_UNICAST_ADDRESS addresses[2];
  static inline IP_ADAPTER_ADDRESSES second;

  static void Fill(IP_ADAPTER_ADDRESSES& adapter, std::size_t place, BYTE index) {
    sockets[place].sin_family = AF_INET;
    sockets[place].sin_addr.s_addr = htonl(0xC0000200U + index);  // 192.0.2.index
    addresses[place].Address = {reinterpret_cast<sockaddr*>(&sockets[place]), sizeof(sockaddr_in)};
    adapter.FirstUnicastAddress = &addresses[place];
    adapter.IfIndex = index;
    adapter.IfType = IF_TYPE_ETHERNET_CSMACD;
    adapter.OperStatus = IfOperStatusUp;
    adapter.PhysicalAddressLength = 6;
    adapter.PhysicalAddress[5] = index;
  }
  static ULONG WINAPI List(ULONG, ULONG, void*, IP_ADAPTER_ADDRESSES* list, ULONG*) {
    Fill(*list, 0, 12);
    Fill(second, 1, 7);
    list->Next = &second;
    return ERROR_SUCCESS;
  }
};

TEST_F(LogTest, MacAddressIsThatOfTheAddressOrElseOfTheFirstAdapter) {
  Document document(L"R");
  Element& machine = *document.Root();
  machine.AddElement(L"AgentGUID");
  EXPECT_FALSE(AddMacAddress(&machine));
  EXPECT_THAT(lines, testing::ElementsAre("5 Quorvel: PopulateMAC() called with uninitialized IP element"));
  const test::ExportHook hook(GetModuleHandleW(nullptr), "GetAdaptersAddresses", &MadeUpAdapters::List);
  for (const auto& [address, mac] :
       {std::pair(L"", L"000000000007"), {L"192.0.2.12", L"00000000000c"}, {L"192.0.2.13", L""}}) {
    Document report(L"R");
    report.Root()->AddElement(L"AgentGUID");
    report.Root()->AddElement(L"IPAddress", address);
    EXPECT_TRUE(AddMacAddress(report.Root()));
    EXPECT_EQ(mac, static_cast<Element*>(report.Root()->LastChild())->GetText()) << test::Narrow(address);
  }
}

}  // namespace
}  // namespace varnel
