#include "probes/adapters.h"

#include "probes/sockets.h"
#include "support/adapters.h"
#include "support/text.h"

#include <gtest/gtest.h>
#include <iphlpapi.h>

#include <cstring>
#include <deque>

namespace varnel {
namespace {

TEST(AdapterTable, LowestInterfaceIndexWinsAndTextsCompareExactly) {
  CandidateTable table;
  table.adapters[12] = {"0c", "a", 12, {{"10.0.0.5", kFamilyIPv4, "", ""}}, false};
  table.adapters[7] = {
      "07", "b", 7, {{"fe80::1", kFamilyIPv6, "", ""}, {"10.0.0.5", kFamilyIPv4, "", ""}}, false};
  EXPECT_EQ(&table.adapters[7], FindAdapterByAddress("10.0.0.5", table));
  EXPECT_EQ(nullptr, FindAdapterByAddress("FE80::1", table));
  EXPECT_EQ(nullptr, FindAdapterByAddress("10.0.0.50", table));
  EXPECT_EQ(&table.adapters[12], GetAdapterByIndex(table, 12));
  EXPECT_EQ(nullptr, GetAdapterByIndex(table, 13));
}

TEST(AdapterTable, MacTextIsSixBytesOrNothing) {
  const std::uint8_t bytes[] = {0x00, 0xA0, 0xC9, 0x1E, 0x2B, 0x7F, 0x11, 0x22};
  EXPECT_EQ("00a0c91e2b7f", MacText(bytes, 8));
  EXPECT_EQ("00a0c9000000", MacText(bytes, 3));
  EXPECT_EQ("", MacText(bytes, 0));
}

TEST(AdapterTable, IPv6TextsGetEightGroups) {
  const Sockets sockets{L""};
  for (const auto& row : test::Rules("IPv6")) EXPECT_EQ(row[1], NormalizeIPv6(row[0])) << row[0];
  for (const auto& row : test::Rules("IPv6 network"))
    EXPECT_EQ(row[2], IPv6Network(row[0], row[1])) << row[0];
  for (const auto& row : test::Rules("IPv6 mask"))
    EXPECT_EQ(row[1], PrefixLengthToMaskText(sockets, static_cast<unsigned>(std::stoul(row[0])))) << row[0];
}

// A made-up list, laid out as the system lays it out: nodes that point to each other.
class Adapters : public testing::Test {
 protected:
  IP_ADAPTER_ADDRESSES& Add(ULONG index, ULONG type, std::initializer_list<const char*> addresses,
                            IF_OPER_STATUS status = IfOperStatusUp) {
    auto& adapter = Append(adapters_, list);
    adapter.IfIndex = index;
    adapter.IfType = type;
    adapter.OperStatus = status;
    adapter.PhysicalAddressLength = 6;
    adapter.PhysicalAddress[5] = static_cast<BYTE>(index);
    for (const char* const address : addresses)
      Append(unicasts_, adapter.FirstUnicastAddress).Address = Socket(address);
    return adapter;
  }
  void AddPrefix(IP_ADAPTER_ADDRESSES& adapter, const char* text, ULONG length) {
    auto& prefix = Append(prefixes_, adapter.FirstPrefix);
    prefix.Address = Socket(text);
    prefix.PrefixLength = length;
  }
  // The table, a line for each address.
  std::string Told() const {
    std::string told;
    for (const auto& [index, adapter] : table.adapters)
      for (const auto& address : adapter.addresses)
        told += std::to_string(adapter.index) + (adapter.isPpp ? " PPP " : " ") + adapter.mac + " " +
                address.text + " mask " + address.mask + " network " + address.network + "\n";
    return told;
  }

  Sockets sockets{L""};
  IP_ADAPTER_ADDRESSES* list = nullptr;
  CandidateTable table;

 private:
  template <class Node>
  static Node& Append(std::deque<Node>& nodes, Node*& first) {
    Node** end = &first;
    while (*end) end = &(*end)->Next;
    return *(*end = &nodes.emplace_back());
  }
  SOCKET_ADDRESS Socket(const char* text) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* found = nullptr;
    EXPECT_EQ(0, getaddrinfo(text, nullptr, &hints, &found)) << text;
    auto& storage = storages_.emplace_back();
    const auto length = static_cast<INT>(found->ai_addrlen);
    std::memcpy(&storage, found->ai_addr, found->ai_addrlen);
    freeaddrinfo(found);
    return {reinterpret_cast<sockaddr*>(&storage), length};
  }

  std::deque<IP_ADAPTER_ADDRESSES> adapters_;
  std::deque<IP_ADAPTER_UNICAST_ADDRESS> unicasts_;
  std::deque<IP_ADAPTER_PREFIX> prefixes_;
  std::deque<sockaddr_storage> storages_;
};

TEST_F(Adapters, CandidatesAreNeitherTunnelsNorDownNorLoopbackUnlessAsked) {
  Add(1, 24, {"127.0.0.1"});
  Add(2, 131, {"192.0.2.1"});
  Add(3, 6, {"192.0.2.2"}, IfOperStatusDown);
  Add(4, 6, {});  // without any address: no record
  EXPECT_FALSE(AddCandidates(sockets, list, table));
  EXPECT_TRUE(table.adapters.empty());
  Add(5, 23, {"192.0.2.3", "192.0.2.4"}, IfOperStatusLowerLayerDown);
  table.includeLoopback = true;
  EXPECT_TRUE(AddCandidates(sockets, list, table));
  // The mask of an IPv4 address comes from the interface, and no interface of this machine has these two.
  EXPECT_EQ(
      "1 000000000001 127.0.0.1 mask 255.0.0.0 network 127.0.0.0\n"
      "5 PPP 000000000005 192.0.2.3 mask  network \n"
      "5 PPP 000000000005 192.0.2.4 mask  network \n",
      Told());
}

TEST_F(Adapters, MaskOfAnIPv6AddressComesFromThePrefixOfItsKind) {
  auto& adapter = Add(5, 6, {"fe80::1", "fec0::2", "2001:db8::3"});
  AddPrefix(adapter, "192.0.2.0", 24);
  AddPrefix(adapter, "2001:db8::", 48);
  AddPrefix(adapter, "fe80::", 64);
  AddPrefix(adapter, "ff00::", 8);
  ASSERT_TRUE(AddCandidates(sockets, list, table));
  // Of the second no prefix matches: the network is the last one that was looked at.
  EXPECT_EQ(
      "5 000000000005 fe80:0:0:0:0:0:0:1 mask ffff:ffff:ffff:ffff:0:0:0:0 network fe80:0:0:0:0:0:0:0\n"
      "5 000000000005 fec0:0:0:0:0:0:0:2 mask  network ff00::\n"
      "5 000000000005 2001:db8:0:0:0:0:0:3 mask ffff:ffff:ffff:0:0:0:0:0 network 2001:db8:0:0:0:0:0:0\n",
      Told());
}

// The answer of a system with two IPv4 interfaces.
int WSAAPI ListTwoInterfaces(SOCKET, DWORD, void*, DWORD, void* out, DWORD, DWORD* size, WSAOVERLAPPED*,
                             LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  INTERFACE_INFO interfaces[2] = {};
  interfaces[0].iiAddress.AddressIn.sin_addr.s_addr = inet_addr("192.0.2.5");
  interfaces[0].iiNetmask.AddressIn.sin_addr.s_addr = inet_addr("255.255.255.0");
  interfaces[1].iiAddress.AddressIn.sin_addr.s_addr = inet_addr("198.51.100.25");
  interfaces[1].iiNetmask.AddressIn.sin_addr.s_addr = inet_addr("255.255.255.240");
  std::memcpy(out, interfaces, *size = sizeof(interfaces));
  return 0;
}

TEST_F(Adapters, MaskOfAnIPv4AddressComesFromItsInterface) {
  sockets.WSAIoctl = &ListTwoInterfaces;
  Add(5, 6, {"192.0.2.5", "192.0.2.6", "198.51.100.25"});
  ASSERT_TRUE(AddCandidates(sockets, list, table));
  EXPECT_EQ(
      "5 000000000005 192.0.2.5 mask 255.255.255.0 network 192.0.2.0\n"
      "5 000000000005 192.0.2.6 mask  network \n"
      "5 000000000005 198.51.100.25 mask 255.255.255.240 network 198.51.100.16\n",
      Told());
}

TEST_F(Adapters, RealOnesAreListed) {
  if (const ULONG error = test::AskForAdapters())
    GTEST_SKIP() << "this system does not name its adapters: GetAdaptersAddresses answers " << error;
  table.includeLoopback = true;
  ASSERT_TRUE(SelectMacAddress(table));
  const Adapter* const loopback = FindAdapterByAddress("127.0.0.1", table);
  ASSERT_NE(nullptr, loopback);
  EXPECT_FALSE(loopback->name.empty());
}

}  // namespace
}  // namespace varnel
