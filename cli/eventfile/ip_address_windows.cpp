#include "eventfile/event_forms.h"

#include <winsock2.h>
#include <ws2tcpip.h>

namespace varnel::tool {

std::string IpAddressBytes(const std::string& text) {
  char binary[16];
  if (inet_pton(AF_INET, text.c_str(), binary) == 1) return std::string(binary, 4);
  return inet_pton(AF_INET6, text.c_str(), binary) == 1 ? std::string(binary, 16) : std::string();
}

}  // namespace varnel::tool
