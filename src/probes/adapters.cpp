#include "probes/adapters.h"

#include "logging/log_writer.h"
#include "probes/fact_library.h"
#include "probes/sockets.h"

#include <iphlpapi.h>

#include <algorithm>
#include <cstdlib>

namespace varnel {
namespace {

constexpr wchar_t kFact[] = L"RawMACAddress";
constexpr std::uint32_t kTypePpp = 23;
constexpr unsigned kMaxPrefixLength = 128;
constexpr socklen_t kIPv4AddressSize = 16;
constexpr socklen_t kOtherAddressSize = 28;
constexpr std::size_t kMaxInterfaces = 10;

class Socket {
 public:
  explicit Socket(const Sockets& sockets) noexcept
      : sockets_(sockets), socket_(sockets.socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP)) {}
  ~Socket() {
    if (socket_ != INVALID_SOCKET) sockets_.closesocket(socket_);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  SOCKET Get() const noexcept { return socket_; }

 private:
  const Sockets& sockets_;
  SOCKET socket_;
};

struct MaskAndNetwork {
  std::string mask;
  std::string network;
};

bool ToText(const Sockets& sockets, const SOCKET_ADDRESS& address, char (&text)[kHostTextCapacity]) noexcept {
  const bool isIPv4 = address.lpSockaddr->sa_family == AF_INET;
  return sockets.ToNumericHost(address.lpSockaddr, isIPv4 ? kIPv4AddressSize : kOtherAddressSize, text);
}

// A link-local or site-local address takes the first prefix of its own kind; any other takes the first IPv6
// prefix, without a network text. If no prefix matches, the network is the text of the last prefix examined.
MaskAndNetwork FromPrefixes(const Sockets& sockets, const IP_ADAPTER_PREFIX* prefixes,
                            std::string_view address) {
  const bool isLocal = address.starts_with("fe80") || address.starts_with("fec0");
  MaskAndNetwork found;
  for (const auto* prefix = prefixes; prefix; prefix = prefix->Next) {
    if (prefix->Address.lpSockaddr->sa_family != AF_INET6) continue;
    if (!isLocal) return {PrefixLengthToMaskText(sockets, prefix->PrefixLength), {}};
    char text[kHostTextCapacity];
    if (!ToText(sockets, prefix->Address, text)) continue;
    found.network = text;
    if (!found.network.starts_with(address.substr(0, 4))) continue;
    found.mask = PrefixLengthToMaskText(sockets, prefix->PrefixLength);
    break;
  }
  return found;
}

AdapterAddress DescribeAddress(const Sockets& sockets, const IP_ADAPTER_ADDRESSES& adapter, int family,
                               const char* text) {
  AdapterAddress address{text, family, {}, {}};
  if (family == kFamilyIPv4) {
    if (!GetIPv4MaskAndNetwork(sockets, address.text, address.mask, address.network)) {
      address.mask.clear();
      address.network.clear();
    }
  } else if (family == kFamilyIPv6) {
    auto [mask, network] = FromPrefixes(sockets, adapter.FirstPrefix, address.text);
    address.text = NormalizeIPv6(address.text);
    address.mask = NormalizeIPv6(mask);
    address.network = IPv6Network(address.text, address.mask);
    if (address.network.empty()) address.network = std::move(network);
  }
  return address;
}

bool AddAddresses(const Sockets& sockets, const IP_ADAPTER_ADDRESSES& source, const std::string& mac,
                  CandidateTable& table) {
  bool added = false;
  for (const auto* unicast = source.FirstUnicastAddress; unicast; unicast = unicast->Next) {
    char text[kHostTextCapacity];
    if (!ToText(sockets, unicast->Address, text)) continue;
    Adapter& adapter = table.adapters[source.IfIndex];
    adapter.name = source.AdapterName ? source.AdapterName : "";
    adapter.index = source.IfIndex;
    adapter.mac = mac;
    adapter.isPpp = source.IfType == kTypePpp;
    adapter.addresses.push_back(
        DescribeAddress(sockets, source, unicast->Address.lpSockaddr->sa_family, text));
    added = true;
  }
  return added;
}

AdapterListPtr AllocateList(ULONG bytes) noexcept {
  return AdapterListPtr(static_cast<IP_ADAPTER_ADDRESSES*>(std::calloc(1, bytes)));
}

}  // namespace

bool SelectMacAddress(CandidateTable& table) {
  const Sockets sockets(kFact);
  if (sockets.StartResult() != 0) return false;
  AdapterListPtr list;
  return LoadAdapterAddresses(list) && AddCandidates(sockets, list.get(), table);
}

bool AddCandidates(const Sockets& sockets, const IP_ADAPTER_ADDRESSES* list, CandidateTable& table) {
  bool added = false;
  for (const auto* adapter = list; adapter; adapter = adapter->Next) {
    const std::string mac = MacText(adapter->PhysicalAddress, adapter->PhysicalAddressLength);
    LogDetail(kAdapterFacility, L"candidate MAC=%hs If Type=%d Include Loopback=%d Oper Status=%d",
              mac.c_str(), static_cast<int>(adapter->IfType), table.includeLoopback ? 1 : 0,
              static_cast<int>(adapter->OperStatus));
    if (!IsCandidate(adapter->IfType, static_cast<std::uint32_t>(adapter->OperStatus), table.includeLoopback))
      continue;
    if (AddAddresses(sockets, *adapter, mac, table)) added = true;
  }
  return added;
}

bool LoadAdapterAddresses(AdapterListPtr& list) {
  const LoadedLibrary library = LoadLibraryForFact(L"iphlpapi.dll", kFact);
  decltype(GetAdaptersAddresses)* getAdapters = nullptr;
  if (!library || !Resolve(library, "GetAdaptersAddresses", getAdapters)) return false;
  constexpr ULONG kFirstBytes = 448;
  constexpr ULONG kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_INCLUDE_PREFIX;
  ULONG bytes = kFirstBytes;
  auto buffer = AllocateList(bytes);
  if (!buffer) return false;
  if (getAdapters(AF_UNSPEC, kFlags, nullptr, buffer.get(), &bytes) == ERROR_BUFFER_OVERFLOW) {
    buffer = AllocateList(bytes);
    if (!buffer) return false;
  } else {
    bytes = kFirstBytes;  // whatever the call has made of it: that much there is
  }
  if (getAdapters(AF_UNSPEC, kFlags, nullptr, buffer.get(), &bytes) != ERROR_SUCCESS) return false;
  list = std::move(buffer);
  return true;
}

bool GetIPv4MaskAndNetwork(const Sockets& sockets, std::string_view address, std::string& mask,
                           std::string& network) {
  INTERFACE_INFO interfaces[kMaxInterfaces];
  DWORD size = 0;
  {
    const Socket socket(sockets);
    if (sockets.WSAIoctl(socket.Get(), SIO_GET_INTERFACE_LIST, nullptr, 0, interfaces, sizeof(interfaces),
                         &size, nullptr, nullptr) != 0)
      return false;
  }
  for (std::size_t i = 0; i < size / sizeof(interfaces[0]); ++i) {
    // Addresses are compared and written in dotted form.
    const auto dotted = [&](in_addr plain) { return std::string(sockets.inet_ntoa(plain)); };
    const in_addr own = interfaces[i].iiAddress.AddressIn.sin_addr;
    if (dotted(own) != address) continue;
    in_addr masked = interfaces[i].iiNetmask.AddressIn.sin_addr;
    mask = dotted(masked);
    masked.s_addr &= own.s_addr;
    network = dotted(masked);
    return true;
  }
  return false;
}

std::string PrefixLengthToMaskText(const Sockets& sockets, unsigned length) {
  if (length > kMaxPrefixLength) return {};
  sockaddr_in6 mask{};
  mask.sin6_family = AF_INET6;
  for (unsigned byte = 0; byte * 8 < length; ++byte) {
    const unsigned bits = std::min(length - byte * 8, 8u);
    mask.sin6_addr.s6_addr[byte] = static_cast<UCHAR>(0xFF00u >> bits);
  }
  char text[kHostTextCapacity];
  const bool formed = sockets.ToNumericHost(reinterpret_cast<const sockaddr*>(&mask), sizeof(mask), text);
  return formed ? text : "";
}

}  // namespace varnel
