#include "eventfile/event_forms.h"

#include <winsock2.h>
#include <ws2tcpip.h>

namespace varnel::tool {

bool IsIpAddress(const std::string& text) {
  unsigned char binary[16];
  return inet_pton(AF_INET, text.c_str(), binary) == 1 || inet_pton(AF_INET6, text.c_str(), binary) == 1;
}

}  // namespace varnel::tool
