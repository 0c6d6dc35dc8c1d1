#pragma once

#include "base/system_library.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstddef>

namespace varnel {

constexpr std::size_t kHostTextCapacity = 1025;  // bytes of a numeric host text, terminator included

// The system's sockets library, loaded and started while this lives. Few calls of a report need it, and with
// a static import every load of this module would wait for it.
class Sockets {
 public:
  Sockets();
  ~Sockets();
  Sockets(const Sockets&) = delete;
  Sockets& operator=(const Sockets&) = delete;

  // What WSAStartup for version 1.1 returned; -1 when there is no such library, and nothing may be called
  // then.
  int StartResult() const noexcept { return startResult_; }

  // The address as numeric text. False when it cannot be formed.
  [[nodiscard]] bool ToNumericHost(const sockaddr* address, socklen_t length,
                                   char (&text)[kHostTextCapacity]) const noexcept {
    return getnameinfo(address, length, text, kHostTextCapacity, nullptr, 0, NI_NUMERICHOST) == 0;
  }

  // The library's functions, under their own names.
  decltype(&::WSAIoctl) WSAIoctl = nullptr;
  decltype(&::socket) socket = nullptr;
  decltype(&::closesocket) closesocket = nullptr;
  decltype(&::inet_ntoa) inet_ntoa = nullptr;
  decltype(&::gethostname) gethostname = nullptr;
  decltype(&::getaddrinfo) getaddrinfo = nullptr;
  decltype(&::freeaddrinfo) freeaddrinfo = nullptr;
  decltype(&::getnameinfo) getnameinfo = nullptr;

 private:
  bool ResolveAll() noexcept;

  LoadedLibrary library_;
  decltype(&::WSAStartup) startUp_ = nullptr;
  decltype(&::WSACleanup) cleanUp_ = nullptr;
  int startResult_ = SOCKET_ERROR;
};

}  // namespace varnel
