#pragma once

#include "base/system_library.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstddef>

namespace varnel {

constexpr std::size_t kHostTextCapacity = 1025;  // bytes of a numeric host text, terminator included

// Loads ws2_32.dll and starts Windows Sockets during its lifetime. It is not imported, because few calls need
// it and every load of this library would load it.
class Sockets {
 public:
  // `fact` is the element of the report that needs it, for a log line. Throws like LoadSystemLibrary.
  explicit Sockets(const wchar_t* fact);
  ~Sockets();
  Sockets(const Sockets&) = delete;
  Sockets& operator=(const Sockets&) = delete;

  // Returns the result of WSAStartup for version 1.1, or -1 if the library cannot be loaded. The functions
  // below may be called unless it is -1; after any other failure they return errors of their own.
  int StartResult() const noexcept { return startResult_; }

  // Writes the address as numeric text. Returns false on failure.
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
