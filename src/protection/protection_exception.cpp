#include "protection/protection_exception.h"

#include "logging/log_writer.h"
#include "protection/client_library.h"

namespace varnel {

void ScopedProtectionException::Request(const std::wstring& path) noexcept {
  const ProtectionClient client = GetProtectionClient();
  if (!client) return;
  const LONG status = client.request(GetCurrentProcessId(), path.c_str(), &token_);
  if (status == 0)
    withdraw_ = client.withdraw;
  else
    LogError(kProtectionFacility, L"No self-protection exception for %s: %d", path.c_str(), status);
}

}  // namespace varnel
