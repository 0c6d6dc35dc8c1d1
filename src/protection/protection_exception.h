#pragma once

#include "protection/client_interface.h"

#include <string>

namespace varnel {

// The self-protection service's permission for this process to write one event file, from Request until this
// goes out of scope, whatever way. Where there is no service it does nothing.
class ScopedProtectionException {
 public:
  ScopedProtectionException() noexcept = default;
  ~ScopedProtectionException() {
    if (withdraw_) withdraw_(token_);
  }
  ScopedProtectionException(const ScopedProtectionException&) = delete;
  ScopedProtectionException& operator=(const ScopedProtectionException&) = delete;

  // Asks for `path`, the full path of the file; to be called once, before its folder is touched. A service
  // that refuses is logged at level 5; the caller goes on in any case and sees what the file system says.
  void Request(const std::wstring& path) noexcept;

 private:
  SelfProtectionWithdrawFunction* withdraw_ = nullptr;  // set while an exception is held
  ULONGLONG token_ = 0;
};

}  // namespace varnel
