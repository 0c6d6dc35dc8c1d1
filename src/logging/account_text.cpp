#include "logging/account_text.h"

#include "base/handles.h"
#include "base/malloc_ptr.h"
#include "logging/ansi_text.h"

namespace varnel {
namespace {

// Returns the token's TOKEN_USER. Returns null, with the last error set, on failure.
MallocPtr<BYTE[]> QueryTokenUser(HANDLE token) noexcept {
  DWORD size = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  if (size == 0) return nullptr;
  auto information = AllocateZeroed<BYTE>(size);
  if (!information) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  if (!GetTokenInformation(token, TokenUser, information.get(), size, &size)) return nullptr;
  return information;
}

void WriteAccount(HANDLE token, bool impersonated, char* buffer, std::size_t capacity) noexcept {
  const auto information = QueryTokenUser(token);
  if (!information) {
    FormatAnsi(buffer, capacity, "GTI %d", static_cast<int>(GetLastError()));
    return;
  }
  const auto* const user = reinterpret_cast<const TOKEN_USER*>(information.get());
  char name[260];
  char domain[260];
  DWORD nameSize = sizeof(name);
  DWORD domainSize = sizeof(domain);
  SID_NAME_USE use{};
  if (LookupAccountSidA(nullptr, user->User.Sid, name, &nameSize, domain, &domainSize, &use))
    FormatAnsi(buffer, capacity, "%s\\%s%s", domain, name, impersonated ? "*" : "");
  else
    FormatAnsi(buffer, capacity, "LAS %d", static_cast<int>(GetLastError()));
}

}  // namespace

void GetLogUserName(char* buffer, std::size_t capacity) noexcept {
  KernelHandle token;
  const bool impersonated = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, FALSE, token.Put()) != FALSE;
  if (!impersonated) {
    const DWORD threadError = GetLastError();
    if (threadError != ERROR_NO_TOKEN) {
      FormatAnsi(buffer, capacity, "OTT %d", static_cast<int>(threadError));
      return;
    }
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put())) {
      FormatAnsi(buffer, capacity, "OPT %d", static_cast<int>(GetLastError()));
      return;
    }
  }
  WriteAccount(token.Get(), impersonated, buffer, capacity);
}

}  // namespace varnel
