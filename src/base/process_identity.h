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
  ~ProcessIdentity() { (void)Restore(); }
  ProcessIdentity(const ProcessIdentity&) = delete;
  ProcessIdentity& operator=(const ProcessIdentity&) = delete;

  // False when the system does not let the thread stop impersonating.
  explicit operator bool() const noexcept { return taken_; }

  // Gives the client's identity back. False when the system refuses, which nothing but a lack of memory
  // should bring about: the thread has its process's rights then, so the caller must not go on as if it had
  // succeeded. The destructor tries once more.
  [[nodiscard]] bool Restore() noexcept {
    if (!client_) return true;
    if (!SetThreadToken(nullptr, client_.Get())) return false;
    client_.Reset();
    return true;
  }

 private:
  KernelHandle client_;
  bool taken_;
};

}  // namespace varnel
