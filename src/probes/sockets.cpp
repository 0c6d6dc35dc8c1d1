#include "probes/sockets.h"

#include "probes/fact_library.h"

namespace varnel {

Sockets::Sockets(const wchar_t* fact) : library_(LoadLibraryForFact(L"ws2_32.dll", fact)) {
  WSADATA data;
  if (library_ && ResolveAll()) startResult_ = startUp_(MAKEWORD(1, 1), &data);
}

Sockets::~Sockets() {
  if (startResult_ == 0) cleanUp_();
}

bool Sockets::ResolveAll() noexcept {
  const auto find = [&](const char* name, auto& function) { return Resolve(library_, name, function); };
  return find("WSAStartup", startUp_) && find("WSACleanup", cleanUp_) && find("WSAIoctl", WSAIoctl) &&
         find("socket", socket) && find("closesocket", closesocket) && find("inet_ntoa", inet_ntoa) &&
         find("gethostname", gethostname) && find("getaddrinfo", getaddrinfo) &&
         find("freeaddrinfo", freeaddrinfo) && find("getnameinfo", getnameinfo);
}

}  // namespace varnel
