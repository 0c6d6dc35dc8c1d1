#pragma once

#include "varnel/self_protection_client.h"

namespace varnel {

// The functions of the service's client library. Both are null if there is no client.
struct ProtectionClient {
  SelfProtectionRequestFunction* request = nullptr;
  SelfProtectionWithdrawFunction* withdraw = nullptr;

  explicit operator bool() const noexcept { return request != nullptr; }
};

// Returns the client library that the registry value "SelfProtectionClient" (framework key, full path below
// 260 characters) names, or an empty client.
//
// Reads the value again one minute after the last search; at once after LookForClientAgain, and after a
// search that found the file open in another program or could not stop the impersonation. Before a library is
// loaded, its signature is checked on the very file that is loaded (see signature_check.h). A loaded library
// stays in the process and is used as long as the value names it. A file that is refused, or a path that is
// not full and local, is logged at level 5 once, until path or file change; so is an impersonation that
// cannot be stopped or restored. A missing value or file is not logged.
//
// Any thread may call, except from DllMain or while it holds the save mutex: checking takes time, and the
// client's DllMain runs. While another thread searches, returns the client of the last search; if there is
// none, first waits up to five seconds, unless a thread has waited so long for the same search before. A call
// from within the search does not wait. Throws HResultError (E_ACCESSDENIED) if the thread cannot impersonate
// its user again.
[[nodiscard]] ProtectionClient GetProtectionClient();

// Makes the next call of GetProtectionClient search at once.
void LookForClientAgain() noexcept;

}  // namespace varnel
