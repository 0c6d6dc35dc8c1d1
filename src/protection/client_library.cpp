#include "protection/client_library.h"

#include "base/files.h"
#include "base/hresult.h"
#include "base/locks.h"
#include "base/process_identity.h"
#include "base/system_library.h"
#include "logging/log_writer.h"
#include "protection/client_file.h"
#include "settings/agent_settings.h"

#include <atomic>
#include <cwchar>
#include <iterator>
#include <optional>

namespace varnel {
namespace {

// Tells whether a file that is refused is the one that was refused last.
struct Candidate {
  wchar_t path[kLongestClientPath + 2];  // one more shows that it is too long
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

// Why the candidate is not loaded; nothing when it has been or does not exist.
using Result = std::optional<Refusal>;

// Whether the library was mapped from this file, which nobody can have changed since it was verified: it is
// open.
bool IsMappedFrom(const LoadedLibrary& library, HANDLE file) noexcept {
  wchar_t path[kOwnPathCapacity];
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

Result FindAndLoad(Candidate& candidate) noexcept {
  Result refusal;
  // Open until it is loaded: what was checked is what runs.
  const FileHandle file = OpenClientFile(candidate.path, refusal);
  if (!file) return refusal;
  BY_HANDLE_FILE_INFORMATION information{};
  GetFileInformationByHandle(file.Get(), &information);
  candidate.written = information.ftLastWriteTime;
  candidate.sizeHigh = information.nFileSizeHigh;
  candidate.sizeLow = information.nFileSizeLow;
  wchar_t ownPath[kOwnPathCapacity];
  refusal = CheckClientFile(file.Get(), ownPath, nullptr);
  return refusal ? refusal : Load(file.Get(), ownPath);
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
