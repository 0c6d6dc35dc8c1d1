#pragma once

#include "protection/client_library.h"

#include <string>

namespace varnel {

// The self-protection service's permission for this process to write one file, from Request until the
// destructor withdraws it. Does nothing if there is no service. If the service refuses, the destructor logs
// that at level 5 instead; the caller proceeds in any case and lets the file system decide.
//
// Create it before taking the save mutex and destroy it after releasing the mutex: checking and loading the
// client, and the log line, may take time, for which no other process should wait.
class ScopedWritePermission {
 public:
  // Waits and throws like GetProtectionClient.
  ScopedWritePermission() : client_(GetProtectionClient()) {}
  ~ScopedWritePermission();
  ScopedWritePermission(const ScopedWritePermission&) = delete;
  ScopedWritePermission& operator=(const ScopedWritePermission&) = delete;

  // Requests the permission for the file `path`, which must outlive this object. To be called once, before
  // the file's folder is touched.
  void Request(const std::wstring& path) noexcept;

  // To be called when the file cannot be created or written; `error` is the Win32 error code. After
  // ERROR_ACCESS_DENIED the next save searches for the client at once: a service may have been installed
  // since the last search.
  static void NoteFailure(DWORD error) noexcept;

 private:
  ProtectionClient client_;
  const std::wstring* path_ = nullptr;  // set once a service has been asked
  LONG status_ = 0;                     // the result of the request
  ULONGLONG token_ = 0;
};

}  // namespace varnel
