#pragma once

#include "base/handles.h"

namespace varnel {

// While it lives, the thread acts as its process and not as a client that it may impersonate. For what must
// not depend on whom a host serves at the moment: a client has drive letters and rights of its own.
class ProcessIdentity {
 public:
  ProcessIdentity() noexcept {
    if (!OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, TRUE, client_.Put()))
      taken_ = GetLastError() == ERROR_NO_TOKEN;
    else
      taken_ = SetThreadToken(nullptr, nullptr) != FALSE;
  }
  // The token is the one that the thread had; giving it back needs nothing that could have been lost since.
  ~ProcessIdentity() {
    if (client_) SetThreadToken(nullptr, client_.Get());
  }
  ProcessIdentity(const ProcessIdentity&) = delete;
  ProcessIdentity& operator=(const ProcessIdentity&) = delete;

  // False when the system does not let the thread stop impersonating.
  explicit operator bool() const noexcept { return taken_; }

 private:
  KernelHandle client_;
  bool taken_;
};

}  // namespace varnel
