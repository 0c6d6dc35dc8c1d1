#pragma once

#include "base/handles.h"

namespace varnel {

// For log lines about parts that are left out when the impersonation cannot be stopped.
inline constexpr wchar_t kNoProcessIdentity[] = L"this thread cannot act for its process";

// Stops the thread's impersonation during its lifetime. For work that must not depend on the user that the
// host serves at the moment: an impersonated user has other drive letters and rights.
class ProcessIdentity {
 public:
  ProcessIdentity() noexcept {
    // Tries with the process's rights first, then with the user's: the process may have no right to the
    // user's token.
    if (Open(TRUE) || (error_ != ERROR_NO_TOKEN && Open(FALSE)))
      error_ = SetThreadToken(nullptr, nullptr) ? ERROR_SUCCESS : GetLastError();
    else if (error_ == ERROR_NO_TOKEN)
      error_ = ERROR_SUCCESS;
  }
  ~ProcessIdentity() { (void)Restore(); }
  ProcessIdentity(const ProcessIdentity&) = delete;
  ProcessIdentity& operator=(const ProcessIdentity&) = delete;

  // False if the impersonation could not be stopped; Error() then returns the Win32 error code.
  explicit operator bool() const noexcept { return error_ == ERROR_SUCCESS; }
  DWORD Error() const noexcept { return error_; }

  // Impersonates the user again. Returns false if Windows refuses, which only a lack of memory should cause:
  // the thread then still has the process's rights, so the caller must fail. The destructor tries again.
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
