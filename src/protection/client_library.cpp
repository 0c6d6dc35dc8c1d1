#include "protection/client_library.h"

#include "base/locks.h"
#include "base/system_library.h"
#include "logging/log_writer.h"
#include "protection/signature_check.h"
#include "settings/registry_text.h"

#include <cwchar>
#include <iterator>

namespace varnel {
namespace {

constexpr std::size_t kPathCapacity = 260;

// Tells whether a file that has been refused is still the same.
struct Candidate {
  wchar_t path[kPathCapacity];
  FILETIME written;
  DWORD sizeHigh;
  DWORD sizeLow;
};

SRWLOCK g_lock{};  // guards both
ProtectionClient g_client;
Candidate g_refused;

bool IsSame(const Candidate& left, const Candidate& right) noexcept {
  return std::wcscmp(left.path, right.path) == 0 &&
         left.written.dwHighDateTime == right.written.dwHighDateTime &&
         left.written.dwLowDateTime == right.written.dwLowDateTime && left.sizeHigh == right.sizeHigh &&
         left.sizeLow == right.sizeLow;
}

void Refuse(const Candidate& candidate, const wchar_t* reason, DWORD code) noexcept {
  LogError(kProtectionFacility, L"Self-protection client %s not loaded: %s (0x%08X)", candidate.path, reason,
           code);
  g_refused = candidate;
}

bool IsLetter(wchar_t c) noexcept {
  return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z');
}

// Looked at before anything is opened: no network is ever asked.
const wchar_t* WhatIsWrongWith(const wchar_t* path) noexcept {
  if (path[0] == L'\\' && path[1] == L'\\') return L"it is not on a local disk";
  if (!IsLetter(path[0]) || path[1] != L':' || path[2] != L'\\') return L"its path is not a full one";
  const wchar_t root[] = {path[0], L':', L'\\', L'\0'};
  return GetDriveTypeW(root) == DRIVE_REMOTE ? L"it is not on a local disk" : nullptr;
}

// The path of the open file itself: links on the way to it are resolved, and while it is open none of its
// folders can be exchanged for another. False when it lies on the network or its path is too long.
bool GetRealPath(HANDLE file, wchar_t (&path)[kPathCapacity]) noexcept {
  constexpr wchar_t kPrefix[] = L"\\\\?\\";
  constexpr std::size_t kPrefixLength = std::size(kPrefix) - 1;
  wchar_t real[kPathCapacity + kPrefixLength];
  const DWORD length = GetFinalPathNameByHandleW(file, real, static_cast<DWORD>(std::size(real)), 0);
  if (length == 0 || length >= std::size(real)) return false;
  if (std::wcsncmp(real, kPrefix, kPrefixLength) != 0 || real[kPrefixLength + 1] != L':') return false;
  std::wcscpy(path, real + kPrefixLength);
  return true;
}

// The library stays for good: an exception may outlive this module's stay in the process.
void Load(const Candidate& candidate, const wchar_t* realPath) noexcept {
  LoadedLibrary library(LoadLibraryExW(realPath, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (!library) return Refuse(candidate, L"the system does not load it", GetLastError());
  ProtectionClient client;
  if (!Resolve(library, SELF_PROTECTION_REQUEST, client.request) ||
      !Resolve(library, SELF_PROTECTION_WITHDRAW, client.withdraw))
    return Refuse(candidate, L"an entry point is missing", ERROR_PROC_NOT_FOUND);
  (void)library.Detach();
  g_client = client;
}

void Find(Candidate& candidate) noexcept {
  if (const wchar_t* const wrong = WhatIsWrongWith(candidate.path)) {
    if (!IsSame(candidate, g_refused)) Refuse(candidate, wrong, ERROR_BAD_PATHNAME);
    return;
  }
  // Nobody can write, rename or delete the file between check and load.
  const FileHandle file(CreateFileW(candidate.path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
  const DWORD error = GetLastError();
  if (!file && (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)) return;
  BY_HANDLE_FILE_INFORMATION information{};
  if (file) GetFileInformationByHandle(file.Get(), &information);
  candidate.written = information.ftLastWriteTime;
  candidate.sizeHigh = information.nFileSizeHigh;
  candidate.sizeLow = information.nFileSizeLow;
  if (IsSame(candidate, g_refused)) return;
  if (!file) return Refuse(candidate, L"it cannot be opened", error);
  wchar_t realPath[kPathCapacity];
  if (!GetRealPath(file.Get(), realPath))
    return Refuse(candidate, L"it is not on a local disk", ERROR_BAD_PATHNAME);
  const SignatureVerdict verdict = CheckSignature(file.Get(), realPath);
  if (verdict.objection) return Refuse(candidate, verdict.objection, verdict.code);
  Load(candidate, realPath);
}

}  // namespace

ProtectionClient GetProtectionClient() noexcept {
  Candidate candidate{};
  if (!ReadWholeRegistryString(candidate.path, kFrameworkKey, L"SelfProtectionClient") || !candidate.path[0])
    return {};
  const ExclusiveLock lock(g_lock);
  if (!g_client) Find(candidate);
  return g_client;
}

}  // namespace varnel
