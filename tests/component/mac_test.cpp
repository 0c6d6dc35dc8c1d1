#include "component/library.h"
#include "support/captured_output.h"

#include <winsock2.h>
#include <gmock/gmock.h>
#include <iphlpapi.h>

#include <regex>

namespace varnel::test {
namespace {

using testing::HasSubstr;

// An IPv4 address that an adapter of this machine really has, as text, and that adapter's hardware address;
// empty when there is no adapter but loopback.
struct RealAdapter {
  std::string address;
  std::string mac;
};

RealAdapter FindRealAdapter() {
  std::vector<BYTE> buffer(64 * 1024);
  auto* const list = reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data());
  ULONG size = static_cast<ULONG>(buffer.size());
  EXPECT_EQ(0u, GetAdaptersAddresses(AF_INET, 0, nullptr, list, &size));
  for (const auto* adapter = list; adapter; adapter = adapter->Next) {
    if (adapter->IfType == IF_TYPE_SOFTWARE_LOOPBACK || adapter->OperStatus == IfOperStatusDown ||
        !adapter->FirstUnicastAddress || adapter->PhysicalAddressLength != 6)
      continue;
    const auto* const socket =
        reinterpret_cast<const sockaddr_in*>(adapter->FirstUnicastAddress->Address.lpSockaddr);
    std::string mac;
    for (ULONG i = 0; i < 6; ++i) {
      char digits[3];
      std::snprintf(digits, sizeof(digits), "%02x", adapter->PhysicalAddress[i]);
      mac += digits;
    }
    return {inet_ntoa(socket->sin_addr), mac};
  }
  return {};
}

TEST_F(ReportTest, AdapterThatCarriesTheAddressGivesTheMac) {
  const RealAdapter adapter = FindRealAdapter();
  if (adapter.address.empty()) GTEST_SKIP() << "this machine has no adapter but loopback";
  registry.SetText(kFramework, L"IPAddress", {adapter.address.begin(), adapter.address.end()});
  ASSERT_EQ(S_OK, Initialize(*report));
  Fill(*report);
  ASSERT_EQ(S_OK, report->Save());
  EXPECT_THAT(OnlyFile(agentEvents), HasSubstr("<IPAddress>" + adapter.address + "</IPAddress>"));
  EXPECT_THAT(OnlyFile(agentEvents),
              HasSubstr("<RawMACAddress>" + adapter.mac + "</RawMACAddress></MachineInfo>"));
}

TEST_F(ReportTest, AddressThatNoAdapterCarriesGivesAnEmptyMacOnce) {
  ASSERT_EQ(S_OK, Initialize(*report, L"ORBASRVR_3500"));
  Fill(*report);
  ASSERT_EQ(S_OK, report->Save());
  ASSERT_EQ(S_OK, report->Save());
  const auto files = FilesIn(serverEvents);
  ASSERT_EQ(2u, files.size());
  for (const auto& file : files) {
    const std::string saved = ReadBytes(serverEvents + L"\\" + file);
    EXPECT_THAT(saved, HasSubstr("</TimeZoneBias><RawMACAddress></RawMACAddress></MachineInfo>"));
  }
}

TEST_F(ReportTest, NewMachineFactsGetTheirMacAtTheNextSave) {
  ASSERT_EQ(S_OK, Initialize(*report));
  Fill(*report);
  ASSERT_EQ(S_OK, report->Save());
  ASSERT_EQ(S_OK, report->CreateMachineElement(nullptr, nullptr, nullptr));
  ASSERT_EQ(S_OK, report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"two")));
  const auto files = FilesIn(agentEvents);
  ASSERT_EQ(2u, files.size());
  const std::string saved = ReadBytes(agentEvents + L"\\" + files[1]);
  const std::regex mac("<RawMACAddress>");
  EXPECT_EQ(2, std::distance(std::sregex_iterator(saved.begin(), saved.end(), mac), std::sregex_iterator()));
}

TEST_F(ReportTest, MacIsNotLookedForWithoutMachineFacts) {
  registry.SetNumber(kLog, L"LogLevel", 8);
  const auto logged = library.CreateReport();
  ASSERT_EQ(S_OK, Initialize(*logged));
  const CapturedOutput output;
  ASSERT_EQ(S_OK, logged->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")));
  EXPECT_THAT(output.Text(), HasSubstr(" Populating event MAC field before SaveToAgentEventFolder()\n"));
  EXPECT_THAT(output.Text(), HasSubstr(" PopulateMAC() called with uninitialized GUID element\n"));
  EXPECT_THAT(output.Text(), HasSubstr(" Populating MAC field FAILED\n"));
  EXPECT_EQ(std::string::npos, OnlyFile(agentEvents).find("RawMACAddress"));
}

}  // namespace
}  // namespace varnel::test
