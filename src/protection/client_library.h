#pragma once

#include "protection/client_interface.h"

namespace varnel {

// The entry points of the service's client library.
struct ProtectionClient {
  SelfProtectionRequestFunction* request = nullptr;
  SelfProtectionWithdrawFunction* withdraw = nullptr;

  explicit operator bool() const noexcept { return request != nullptr; }
};

// The client library that the registry value "SelfProtectionClient" (framework key, full path below 260
// characters) names, or nothing.
//
// It is loaded once and then stays in the process. Before that, its signature is checked on the very file
// that is loaded (see signature_check.h). A file that is refused, or a path that is not full and local, is
// logged at level 5, once for as long as path and file stay the same. No value, or no such file, is not
// logged. Any thread may call, but not from DllMain and not while it holds the save mutex: checking takes
// its time, and the client's own start-up runs in here. A call that comes while another looks, be it from
// that start-up, gets nothing.
[[nodiscard]] ProtectionClient GetProtectionClient();

}  // namespace varnel
