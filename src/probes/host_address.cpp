#include "probes/host_address.h"

#include "probes/sockets.h"

#include <cstring>
#include <memory>

namespace varnel {
namespace {

struct AddressListDeleter {
  decltype(&::freeaddrinfo) free = nullptr;
  void operator()(addrinfo* list) const noexcept { free(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListDeleter>;

AddressList ResolveOwnName(const Sockets& sockets) noexcept {
  char name[260];
  if (sockets.gethostname(name, sizeof(name)) != 0) return {};
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  if (sockets.getaddrinfo(name, nullptr, &hints, &list) != 0) return {};
  return {list, {sockets.freeaddrinfo}};
}

}  // namespace

HRESULT GetHostNameAndAddress(std::wstring& address) {
  // Only -1 counts as a failure. After a start-up that failed with a positive code the calls below fail too
  // and leave the address unchanged.
  const Sockets sockets(L"IPAddress");
  if (sockets.StartResult() == -1) return kSocketsUnavailable;
  const AddressList list = ResolveOwnName(sockets);
  for (const addrinfo* entry = list.get(); entry; entry = entry->ai_next) {
    char text[kHostTextCapacity];
    if (sockets.ToNumericHost(entry->ai_addr, static_cast<socklen_t>(entry->ai_addrlen), text))
      address.assign(text, text + std::strlen(text));
  }
  return S_OK;
}

}  // namespace varnel
