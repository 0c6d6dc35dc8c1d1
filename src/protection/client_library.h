#pragma once

#include "varnel/self_protection_client.h"

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
// The value is read again a minute after the last look, or at the next call after LookForClientAgain or after
// a look that found the file open in another program. Before a library is loaded, its signature is checked on
// the very file that is loaded (see signature_check.h); then it stays in the process, and is used as long as
// the value names it. A file that is refused, or a path that is not full and local, is logged at level 5,
// once for as long as path and file stay the same. No value, or no such file, is not logged.
//
// Any thread may call, but not from DllMain and not while it holds the save mutex: checking takes its time,
// and the client's own start-up runs in here. While no client is known and another thread looks, a call waits
// for that, at most five seconds; one that comes from the look itself gets nothing. Throws HResultError when
// the thread cannot act for its client again.
[[nodiscard]] ProtectionClient GetProtectionClient();

// Makes the next call of GetProtectionClient look, however long ago the last look was.
void LookForClientAgain() noexcept;

}  // namespace varnel
