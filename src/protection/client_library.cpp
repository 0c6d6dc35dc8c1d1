#include "protection/client_library.h"

#include "base/files.h"
#include "base/hresult.h"
#include "base/locks.h"
#include "base/process_identity.h"
#include "base/system_library.h"
#include "logging/log_writer.h"
#include "protection/signature_check.h"
#include "settings/agent_settings.h"

#include <atomic>
#include <cwchar>
#include <iterator>
#include <optional>

namespace varnel {
namespace {

constexpr std::size_t kLongestPath = kPathCapacity - 1;  // characters

// Tells whether a file that is refused is the one that was refused last.
struct Candidate {
  wchar_t path[kLongestPath + 2];  // one more shows that it is too long
  FILETIME written;
  DWORD sizeHigh;
  DWORD sizeLow;
};

// A look costs system calls of every save, and seldom finds what the last one did not.
constexpr ULONGLONG kMillisecondsBetweenLooks = 60'000;

// Checking and loading run foreign code, which may come back here or wait for a thread that does. So no lock
// is held meanwhile: whoever comes while somebody looks goes on without a client.
std::atomic<bool> g_looking{false};
std::atomic<ULONGLONG> g_nextLook{0};
Candidate g_refused;     // belongs to whoever looks
SRWLOCK g_clientLock{};  // guards the client
ProtectionClient g_client;

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

// Whether the library was mapped from this file, which nobody can have changed since it was verified: it is
// open.
bool IsMappedFrom(const LoadedLibrary& library, HANDLE file) noexcept {
  wchar_t path[2 * kLongestPath];
  const DWORD length = GetModuleFileNameW(library.Get(), path, static_cast<DWORD>(std::size(path)));
  if (length == 0 || length == std::size(path)) return false;
  const FileHandle mapped(
      CreateFileW(path, 0, FILE_SHARE_READ, nullptr, OPEN_EXISTING, kAnonymously, nullptr));
  BY_HANDLE_FILE_INFORMATION verified;
  BY_HANDLE_FILE_INFORMATION loaded;
  return mapped && GetFileInformationByHandle(file, &verified) &&
         GetFileInformationByHandle(mapped.Get(), &loaded) &&
         verified.dwVolumeSerialNumber == loaded.dwVolumeSerialNumber &&
         verified.nFileIndexHigh == loaded.nFileIndexHigh && verified.nFileIndexLow == loaded.nFileIndexLow;
}

// The library stays for good: an exception may outlive this module's stay in the process.
Result Load(HANDLE file, const wchar_t* path) noexcept {
  LoadedLibrary library(LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (!library) return Refusal{L"the system does not load it", GetLastError()};
  if (!IsMappedFrom(library, file))
    return Refusal{L"another file was loaded in its place", ERROR_FILE_INVALID};
  ProtectionClient client;
  if (!Resolve(library, SELF_PROTECTION_REQUEST, client.request) ||
      !Resolve(library, SELF_PROTECTION_WITHDRAW, client.withdraw))
    return Refusal{L"an entry point is missing", ERROR_PROC_NOT_FOUND};
  (void)library.Detach();
  const ExclusiveLock lock(g_clientLock);
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
  return Load(file, path);
}

// Nothing when the client has been loaded or does not exist.
Result FindAndLoad(Candidate& candidate) noexcept {
  if (const wchar_t* const wrong = WhatIsWrongWith(candidate.path)) return Refusal{wrong, ERROR_BAD_PATHNAME};
  // Nobody can write, rename or delete the file between check and load.
  const FileHandle file(CreateFileW(candidate.path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL | kAnonymously, nullptr));
  const DWORD error = GetLastError();
  if (!file && (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)) return std::nullopt;
  BY_HANDLE_FILE_INFORMATION information{};
  if (file) GetFileInformationByHandle(file.Get(), &information);
  candidate.written = information.ftLastWriteTime;
  candidate.sizeHigh = information.nFileSizeHigh;
  candidate.sizeLow = information.nFileSizeLow;
  return file ? CheckAndLoad(file.Get()) : Refusal{L"it cannot be opened", error};
}

// `restored` tells whether the thread acts for its client again.
Result FindAndLoadAsProcess(Candidate& candidate, bool& restored) noexcept {
  ProcessIdentity process;
  if (!process) return Refusal{L"this thread cannot act for its process", GetLastError()};
  const Result result = FindAndLoad(candidate);
  restored = process.Restore();
  if (!restored) return Refusal{L"this thread cannot act for its client again", GetLastError()};
  return result;
}

ProtectionClient KnownClient() noexcept {
  const SharedLock lock(g_clientLock);
  return g_client;
}

// Looks for the client; by one thread at a time. False when the thread does not act for its own client again.
bool Look() noexcept {
  Candidate candidate{};
  // One that does not fit is cut, and refused for its length.
  if (!ReadSelfProtectionClient(candidate.path) || !candidate.path[0]) return true;
  bool restored = true;
  const Result refusal = FindAndLoadAsProcess(candidate, restored);
  if (!refusal) return restored;
  const bool isNew = !IsSame(candidate, g_refused);
  g_refused = candidate;
  if (isNew)
    LogError(kReportFacility, L"Self-protection client %s not loaded: %s (0x%08X)", candidate.path,
             refusal->reason, refusal->code);
  return restored;
}

}  // namespace

ProtectionClient GetProtectionClient() {
  const ProtectionClient known = KnownClient();
  if (known || GetTickCount64() < g_nextLook || g_looking.exchange(true)) return known;
  const bool restored = Look();
  g_nextLook = GetTickCount64() + kMillisecondsBetweenLooks;
  g_looking = false;
  if (!restored) throw HResultError(E_ACCESSDENIED);
  return KnownClient();
}

}  // namespace varnel
