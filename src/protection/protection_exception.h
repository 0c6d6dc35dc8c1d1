#pragma once

#include "protection/client_library.h"

#include <string>

namespace varnel {

// The self-protection service's permission for this process to write one event file, from Request until this
// goes out of scope, whatever way. Where there is no service it does nothing. A service that refuses is
// logged at level 5 at the end; the caller goes on in any case and sees what the file system says.
//
// Made before the save mutex is taken and gone after it is released: the service's client may have to be
// checked and loaded, and a log line may be held up, which no other process should wait for.
class ScopedProtectionException {
 public:
  ScopedProtectionException() : client_(GetProtectionClient()) {}
  ~ScopedProtectionException();
  ScopedProtectionException(const ScopedProtectionException&) = delete;
  ScopedProtectionException& operator=(const ScopedProtectionException&) = delete;

  // Asks for `path`, the path of the file, which has to outlive this; to be called once, before the file's
  // folder is touched.
  void Request(const std::wstring& path) noexcept;

  // For a file that cannot be created or written: `error` is the system's number. Access denied may be the
  // answer of a service whose client has come since the last look, so the next save looks at once.
  static void NoteFailure(DWORD error) noexcept;

 private:
  ProtectionClient client_;
  const std::wstring* path_ = nullptr;  // set once a service has been asked
  LONG status_ = 0;                     // what it answered
  ULONGLONG token_ = 0;
};

}  // namespace varnel
