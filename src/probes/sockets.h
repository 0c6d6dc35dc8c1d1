#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

namespace varnel {

// Balances one successful WSAStartup.
class SocketsSession {
 public:
  // `result` is what WSAStartup for version 1.1 returned; a caller that takes it for a failure must not go
  // on.
  SocketsSession() noexcept {
    WSADATA data;
    result = WSAStartup(MAKEWORD(1, 1), &data);
  }
  ~SocketsSession() {
    if (result == 0) WSACleanup();
  }
  SocketsSession(const SocketsSession&) = delete;
  SocketsSession& operator=(const SocketsSession&) = delete;

  int result;
};

constexpr std::size_t kHostTextCapacity = 1025;  // bytes of a numeric host text, terminator included

// The address as numeric text. False when it cannot be formed.
[[nodiscard]] inline bool ToNumericHost(const sockaddr* address, socklen_t length,
                                        char (&text)[kHostTextCapacity]) noexcept {
  return getnameinfo(address, length, text, kHostTextCapacity, nullptr, 0, NI_NUMERICHOST) == 0;
}

}  // namespace varnel
