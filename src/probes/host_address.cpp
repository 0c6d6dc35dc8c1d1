#include "probes/host_address.h"

#include "probes/sockets.h"

#include <cstring>
#include <memory>

namespace varnel {
namespace {

struct AddressListDeleter {
  void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListDeleter>;

AddressList ResolveOwnName() noexcept {
  char name[260];
  if (gethostname(name, sizeof(name)) != 0) return nullptr;
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  if (getaddrinfo(name, nullptr, &hints, &list) != 0) return nullptr;
  return AddressList(list);
}

}  // namespace

HRESULT GetHostNameAndAddress(std::wstring& address) {
  // Only -1 is a failure. The positive codes of a failed start-up pass: the calls that then fail leave the
  // address as it was.
  const SocketsSession session;
  if (session.result == -1) return kSocketsUnavailable;
  const AddressList list = ResolveOwnName();
  for (const addrinfo* entry = list.get(); entry; entry = entry->ai_next) {
    char text[kHostTextCapacity];
    if (ToNumericHost(entry->ai_addr, static_cast<socklen_t>(entry->ai_addrlen), text))
      address.assign(text, text + std::strlen(text));
  }
  return S_OK;
}

}  // namespace varnel
