#include "protection/protection_exception.h"

#include "logging/facility.h"
#include "logging/log_writer.h"

namespace varnel {

void ScopedProtectionException::Request(const std::wstring& path) noexcept {
  if (!client_) return;
  const LONG status = client_.request(GetCurrentProcessId(), path.c_str(), &token_);
  held_ = status == 0;
  if (!held_) LogError(kFacility, L"No self-protection exception for %s: %d", path.c_str(), status);
}

}  // namespace varnel
