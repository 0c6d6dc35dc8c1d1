#pragma once

#include "protection/client_library.h"

#include <string>

namespace varnel {

// The self-protection service's permission for this process to write one event file, from Request until this
// goes out of scope, whatever way. Where there is no service it does nothing.
//
// Made before the save mutex is taken: the service's client may have to be checked and loaded, which no other
// process should wait for.
class ScopedProtectionException {
 public:
  ScopedProtectionException() noexcept : client_(GetProtectionClient()) {}
  ~ScopedProtectionException() {
    if (held_) client_.withdraw(token_);
  }
  ScopedProtectionException(const ScopedProtectionException&) = delete;
  ScopedProtectionException& operator=(const ScopedProtectionException&) = delete;

  // Asks for `path`, the path of the file; to be called once, before its folder is touched. A service that
  // refuses is logged at level 5; the caller goes on in any case and sees what the file system says.
  void Request(const std::wstring& path) noexcept;

 private:
  ProtectionClient client_;
  ULONGLONG token_ = 0;
  bool held_ = false;
};

}  // namespace varnel
