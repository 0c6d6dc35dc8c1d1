#pragma once

#include "base/handles.h"

namespace varnel {

// For log lines of what is left out without this identity.
inline constexpr wchar_t kNoProcessIdentity[] = L"this thread cannot act for its process";

// While it lives, the thread acts as its process and not as a client that it may impersonate. For what must
// not depend on whom a host serves at the moment: a client has drive letters and rights of its own.
class ProcessIdentity {
 public:
  ProcessIdentity() noexcept {
    // The process may have no right to the token of a client, which has one itself.
    if (Open(TRUE) || (error_ != ERROR_NO_TOKEN && Open(FALSE)))
      error_ = SetThreadToken(nullptr, nullptr) ? ERROR_SUCCESS : GetLastError();
    else if (error_ == ERROR_NO_TOKEN)
      error_ = ERROR_SUCCESS;
  }
  ~ProcessIdentity() { (void)Restore(); }
  ProcessIdentity(const ProcessIdentity&) = delete;
  ProcessIdentity& operator=(const ProcessIdentity&) = delete;

  // False when the system does not let the thread stop impersonating: Error() then tells why.
  explicit operator bool() const noexcept { return error_ == ERROR_SUCCESS; }
  DWORD Error() const noexcept { return error_; }

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
  bool Open(BOOL asProcess) noexcept {
    if (OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, asProcess, client_.Put())) return true;
    error_ = GetLastError();
    return false;
  }

  KernelHandle client_;
  DWORD error_ = ERROR_SUCCESS;
};

}  // namespace varnel
