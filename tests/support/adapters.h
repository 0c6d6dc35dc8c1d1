#pragma once

#include <winsock2.h>
#include <iphlpapi.h>

#include <vector>

namespace varnel::test {

// Returns the result of GetAdaptersAddresses with the library's own arguments. WINE: 10 returns 13, and the
// library then reports no hardware address.
inline ULONG AskForAdapters() {
  constexpr ULONG kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_INCLUDE_PREFIX;
  std::vector<BYTE> buffer(64 * 1024);
  ULONG size = static_cast<ULONG>(buffer.size());
  return GetAdaptersAddresses(AF_UNSPEC, kFlags, nullptr,
                              reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size);
}

}  // namespace varnel::test
