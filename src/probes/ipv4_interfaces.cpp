#include "base/unique_resource.h"
#include "probes/mac_address.h"
#include "probes/sockets.h"

#if defined(_MSC_VER)
#pragma warning(disable : 4996)  // inet_ntoa: its text form is compared with texts that it has made
#endif

namespace varnel {
namespace {

constexpr std::size_t kMaxInterfaces = 10;

struct SocketTraits {
  using Type = SOCKET;
  static Type Invalid() noexcept { return INVALID_SOCKET; }
  static void Close(Type socket) noexcept { closesocket(socket); }
};
using UniqueSocket = UniqueResource<SocketTraits>;

std::string Dotted(in_addr address) {
  return inet_ntoa(address);
}

}  // namespace

bool GetIPv4MaskAndNetwork(std::string_view address, std::string& mask, std::string& network) {
  INTERFACE_INFO interfaces[kMaxInterfaces];
  DWORD size = 0;
  {
    const UniqueSocket socket(::socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP));
    if (!socket || WSAIoctl(socket.Get(), SIO_GET_INTERFACE_LIST, nullptr, 0, interfaces, sizeof(interfaces),
                            &size, nullptr, nullptr) != 0)
      return false;
  }
  for (std::size_t i = 0; i < size / sizeof(interfaces[0]); ++i) {
    const in_addr own = interfaces[i].iiAddress.AddressIn.sin_addr;
    if (Dotted(own) != address) continue;
    in_addr masked = interfaces[i].iiNetmask.AddressIn.sin_addr;
    mask = Dotted(masked);
    masked.s_addr &= own.s_addr;
    network = Dotted(masked);
    return true;
  }
  return false;
}

}  // namespace varnel
