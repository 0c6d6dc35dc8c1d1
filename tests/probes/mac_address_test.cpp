#include "probes/mac_address.h"

#include "probes/sockets.h"

#include <gmock/gmock.h>
#include <iphlpapi.h>

#include <deque>

namespace varnel {
namespace {

// A made-up list, laid out as the system lays it out: nodes that point to each other.
class MadeUpAdapters {
 public:
  IP_ADAPTER_ADDRESSES& Add(ULONG index, ULONG type, IF_OPER_STATUS status = IfOperStatusUp) {
    auto& adapter = adapters_.emplace_back();
    if (adapters_.size() > 1) adapters_[adapters_.size() - 2].Next = &adapter;
    adapter.IfIndex = index;
    adapter.IfType = type;
    adapter.OperStatus = status;
    adapter.PhysicalAddressLength = 6;
    adapter.PhysicalAddress[5] = static_cast<BYTE>(index);
    return adapter;
  }

  void AddAddress(IP_ADAPTER_ADDRESSES& adapter, const char* text) {
    auto& unicast = unicasts_.emplace_back();
    unicast.Address = Socket(text);
    auto** end = &adapter.FirstUnicastAddress;
    while (*end) end = &(*end)->Next;
    *end = &unicast;
  }

  void AddPrefix(IP_ADAPTER_ADDRESSES& adapter, const char* text, ULONG length) {
    auto& prefix = prefixes_.emplace_back();
    prefix.Address = Socket(text);
    prefix.PrefixLength = length;
    auto** end = &adapter.FirstPrefix;
    while (*end) end = &(*end)->Next;
    *end = &prefix;
  }

  const IP_ADAPTER_ADDRESSES* List() const { return adapters_.empty() ? nullptr : &adapters_.front(); }

 private:
  SOCKET_ADDRESS Socket(const char* text) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* found = nullptr;
    EXPECT_EQ(0, getaddrinfo(text, nullptr, &hints, &found)) << text;
    auto& storage = storages_.emplace_back();
    std::copy_n(reinterpret_cast<const char*>(found->ai_addr), found->ai_addrlen,
                reinterpret_cast<char*>(&storage));
    const auto length = static_cast<INT>(found->ai_addrlen);
    freeaddrinfo(found);
    return {reinterpret_cast<sockaddr*>(&storage), length};
  }

  std::deque<IP_ADAPTER_ADDRESSES> adapters_;
  std::deque<IP_ADAPTER_UNICAST_ADDRESS> unicasts_;
  std::deque<IP_ADAPTER_PREFIX> prefixes_;
  std::deque<sockaddr_storage> storages_;
};

class MacAddress : public testing::Test {
 protected:
  SocketsSession sockets;
  MadeUpAdapters adapters;
  CandidateTable table;
};

TEST_F(MacAddress, TunnelAndLoopbackAloneGiveNoCandidate) {
  adapters.AddAddress(adapters.Add(1, 24), "127.0.0.1");
  adapters.AddAddress(adapters.Add(2, 131), "192.0.2.1");
  adapters.AddAddress(adapters.Add(3, 6, IfOperStatusDown), "192.0.2.2");
  EXPECT_FALSE(AddCandidates(adapters.List(), table));
  EXPECT_TRUE(table.adapters.empty());
  table.includeLoopback = true;
  EXPECT_TRUE(AddCandidates(adapters.List(), table));
  ASSERT_EQ(1u, table.adapters.size());
  EXPECT_EQ("127.0.0.1", table.adapters[1].addresses.at(0).text);
}

TEST_F(MacAddress, AddressesOfOneAdapterShareARecord) {
  auto& adapter = adapters.Add(5, 23);
  adapters.AddAddress(adapter, "192.0.2.1");
  adapters.AddAddress(adapter, "192.0.2.2");
  adapters.Add(6, 6);  // without any address: no record
  ASSERT_TRUE(AddCandidates(adapters.List(), table));
  ASSERT_EQ(1u, table.adapters.size());
  const Adapter& record = table.adapters[5];
  EXPECT_EQ("000000000005", record.mac);
  EXPECT_TRUE(record.isPpp);
  ASSERT_EQ(2u, record.addresses.size());
  EXPECT_EQ("192.0.2.2", record.addresses[1].text);
  EXPECT_EQ("", record.addresses[0].mask);  // no interface of this machine has it
}

TEST_F(MacAddress, MaskOfAnIPv6AddressComesFromThePrefixOfItsKind) {
  auto& adapter = adapters.Add(5, 6);
  for (const char* const address : {"fe80::1", "fec0::2", "2001:db8::3"})
    adapters.AddAddress(adapter, address);
  adapters.AddPrefix(adapter, "192.0.2.0", 24);
  adapters.AddPrefix(adapter, "2001:db8::", 48);
  adapters.AddPrefix(adapter, "fe80::", 64);
  adapters.AddPrefix(adapter, "ff00::", 8);
  ASSERT_TRUE(AddCandidates(adapters.List(), table));
  const auto& addresses = table.adapters[5].addresses;
  ASSERT_EQ(3u, addresses.size());
  EXPECT_EQ("fe80:0:0:0:0:0:0:1", addresses[0].text);
  EXPECT_EQ("ffff:ffff:ffff:ffff:0:0:0:0", addresses[0].mask);
  EXPECT_EQ("fe80:0:0:0:0:0:0:0", addresses[0].network);
  EXPECT_EQ("", addresses[1].mask);
  EXPECT_EQ("ff00::", addresses[1].network);  // the last one that was looked at
  EXPECT_EQ("ffff:ffff:ffff:0:0:0:0:0", addresses[2].mask);
  EXPECT_EQ("2001:db8:0:0:0:0:0:0", addresses[2].network);
}

TEST_F(MacAddress, PrefixLengthsBecomeMasks) {
  struct {
    unsigned length;
    const char* mask;
  } const rows[] = {{0, "::"},
                    {1, "8000::"},
                    {64, "ffff:ffff:ffff:ffff::"},
                    {65, "ffff:ffff:ffff:ffff:8000::"},
                    {128, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
                    {129, ""}};
  for (const auto& row : rows) EXPECT_EQ(row.mask, PrefixLengthToMaskText(row.length)) << row.length;
}

TEST_F(MacAddress, RealAdaptersAreListedWithTheirMasks) {
  table.includeLoopback = true;
  ASSERT_TRUE(SelectMacAddress(table));
  bool sawIPv4 = false;
  for (const auto& [index, adapter] : table.adapters) {
    EXPECT_EQ(index, adapter.index);
    EXPECT_TRUE(adapter.mac.empty() || adapter.mac.size() == 12) << adapter.mac;
    for (const auto& address : adapter.addresses) {
      if (address.family != kFamilyIPv4) continue;
      sawIPv4 = true;
      EXPECT_NE("", address.mask);
      EXPECT_NE("", address.network);
    }
  }
  EXPECT_TRUE(sawIPv4);
  std::string mask;
  std::string network;
  EXPECT_FALSE(GetIPv4MaskAndNetwork("192.0.2.77", mask, network));
}

}  // namespace
}  // namespace varnel
