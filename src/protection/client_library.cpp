#include "protection/client_library.h"

#include "base/locks.h"
#include "base/process_identity.h"
#include "base/system_library.h"
#include "logging/log_writer.h"
#include "protection/signature_check.h"
#include "settings/agent_settings.h"

#include <cwchar>
#include <iterator>
#include <optional>

namespace varnel {
namespace {

constexpr std::size_t kLongestPath = kPathCapacity - 1;  // characters

// Tells whether a file that has been refused is still the same.
struct Candidate {
  wchar_t path[kLongestPath + 2];  // one more shows that it is too long
  FILETIME written;
  DWORD sizeHigh;
  DWORD sizeLow;
};

// A refusal may have had a cause that has gone: the file is looked at again from time to time.
constexpr ULONGLONG kMillisecondsOfRefusal = 60'000;

SRWLOCK g_lock{};  // guards all three
ProtectionClient g_client;
Candidate g_refused;
ULONGLONG g_refusedAt;

bool IsSame(const Candidate& left, const Candidate& right) noexcept {
  return std::wcscmp(left.path, right.path) == 0 &&
         left.written.dwHighDateTime == right.written.dwHighDateTime &&
         left.written.dwLowDateTime == right.written.dwLowDateTime && left.sizeHigh == right.sizeHigh &&
         left.sizeLow == right.sizeLow;
}

// Why the candidate is not loaded.
struct Refusal {
  const wchar_t* reason;
  DWORD code;
};
using Result = std::optional<Refusal>;

bool IsLetter(wchar_t c) noexcept {
  return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z');
}

const wchar_t* WhatIsWrongWith(const wchar_t* path) noexcept {
  if (std::wcslen(path) > kLongestPath) return L"its path is too long";
  if (path[0] == L'\\' && path[1] == L'\\') return L"it is not on a local disk";
  if (!IsLetter(path[0]) || path[1] != L':' || path[2] != L'\\') return L"its path is not a full one";
  const wchar_t root[] = {path[0], L':', L'\\', L'\0'};
  return GetDriveTypeW(root) == DRIVE_REMOTE ? L"it is not on a local disk" : nullptr;
}

// The library stays for good: an exception may outlive this module's stay in the process.
Result Load(const wchar_t* path) noexcept {
  LoadedLibrary library(LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (!library) return Refusal{L"the system does not load it", GetLastError()};
  ProtectionClient client;
  if (!Resolve(library, SELF_PROTECTION_REQUEST, client.request) ||
      !Resolve(library, SELF_PROTECTION_WITHDRAW, client.withdraw))
    return Refusal{L"an entry point is missing", ERROR_PROC_NOT_FOUND};
  (void)library.Detach();
  g_client = client;
  return std::nullopt;
}

// Checks and loads the file by its own path: links on the way to it are resolved, and while it is open none
// of its folders can be exchanged for another. The path keeps its prefix, so that it is taken to the letter.
Result CheckAndLoad(HANDLE file) noexcept {
  constexpr wchar_t kNetwork[] = L"\\\\?\\UNC\\";
  wchar_t path[2 * kLongestPath];
  const DWORD length = GetFinalPathNameByHandleW(file, path, static_cast<DWORD>(std::size(path)), 0);
  if (length == 0 || length >= std::size(path))
    return Refusal{L"the system does not tell its path",
                   length == 0 ? GetLastError() : ERROR_BUFFER_OVERFLOW};
  if (std::wcsncmp(path, kNetwork, std::size(kNetwork) - 1) == 0)
    return Refusal{L"it is not on a local disk", ERROR_BAD_PATHNAME};
  const SignatureVerdict verdict = CheckSignature(file, path);
  if (verdict.objection) return Refusal{verdict.objection, verdict.code};
  return Load(path);
}

bool WasJustRefused(const Candidate& candidate) noexcept {
  return IsSame(candidate, g_refused) && GetTickCount64() - g_refusedAt < kMillisecondsOfRefusal;
}

// Nothing when the client is loaded, does not exist, or has just been refused as it is.
Result FindAndLoad(Candidate& candidate) noexcept {
  const ProcessIdentity identity;
  if (!identity) return Refusal{L"this thread cannot act for its process", GetLastError()};
  if (const wchar_t* const wrong = WhatIsWrongWith(candidate.path)) return Refusal{wrong, ERROR_BAD_PATHNAME};
  // Nobody can write, rename or delete the file between check and load.
  const FileHandle file(CreateFileW(candidate.path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
  const DWORD error = GetLastError();
  if (!file && (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)) return std::nullopt;
  BY_HANDLE_FILE_INFORMATION information{};
  if (file) GetFileInformationByHandle(file.Get(), &information);
  candidate.written = information.ftLastWriteTime;
  candidate.sizeHigh = information.nFileSizeHigh;
  candidate.sizeLow = information.nFileSizeLow;
  if (WasJustRefused(candidate)) return std::nullopt;
  return file ? CheckAndLoad(file.Get()) : Refusal{L"it cannot be opened", error};
}

}  // namespace

ProtectionClient GetProtectionClient() noexcept {
  Candidate candidate{};
  // One that does not fit is cut, and refused for its length.
  if (!ReadSelfProtectionClient(candidate.path) || !candidate.path[0]) return {};
  Result refusal;
  ProtectionClient client;
  bool isNew = false;
  {
    const ExclusiveLock lock(g_lock);
    if (!g_client) refusal = FindAndLoad(candidate);
    if (refusal) {
      isNew = !IsSame(candidate, g_refused);
      g_refused = candidate;
      g_refusedAt = GetTickCount64();
    }
    client = g_client;
  }
  if (isNew)
    LogError(kReportFacility, L"Self-protection client %s not loaded: %s (0x%08X)", candidate.path,
             refusal->reason, refusal->code);
  return client;
}

}  // namespace varnel
