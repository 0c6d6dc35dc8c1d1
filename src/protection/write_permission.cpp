#include "protection/write_permission.h"

#include "logging/log_writer.h"

namespace varnel {

ScopedWritePermission::~ScopedWritePermission() {
  if (!path_) return;
  if (status_ == 0)
    client_.withdraw(token_);
  else
    LogError(kReportFacility, L"No self-protection exception for %s: %d", path_->c_str(), status_);
}

void ScopedWritePermission::Request(const std::wstring& path) noexcept {
  if (!client_) return;
  status_ = client_.request(GetCurrentProcessId(), path.c_str(), &token_);
  path_ = &path;
}

void ScopedWritePermission::NoteFailure(DWORD error) noexcept {
  if (error == ERROR_ACCESS_DENIED) LookForClientAgain();
}

}  // namespace varnel
