#include "protection/client_library.h"

#include "base/files.h"
#include "base/hresult.h"
#include "base/locks.h"
#include "base/process_identity.h"
#include "base/system_library.h"
#include "logging/log_writer.h"
#include "protection/client_file.h"
#include "protection/search_turn.h"
#include "settings/agent_settings.h"

#include <atomic>
#include <cwchar>
#include <optional>

namespace varnel {
namespace {

// Identifies a refused file, so that it is logged once.
struct Candidate {
  wchar_t path[kLongestClientPath + 2];  // one more character shows that the path is too long
  FILETIME written;
  DWORD sizeHigh;
  DWORD sizeLow;
};

// Searching costs system calls in every save, and seldom finds a change.
constexpr ULONGLONG kMillisecondsBetweenLooks = 60'000;
constexpr ULONGLONG kLongestWait = 5'000;  // milliseconds to wait for the search of another thread
constexpr DWORD kWaitStep = 10;            // milliseconds

// A client library that has been loaded. It stays in the process even when it is no longer used.
struct LoadedClient {
  wchar_t path[kLongestClientPath + 2];
  ProtectionClient functions;
};

// Checking and loading run foreign code, which may call this file again or wait for a thread that does. So no
// lock is held during a search, and waiting for a search has a limit.
SearchTurn g_turn;
std::atomic<ULONGLONG> g_nextLook{0};
std::atomic<bool> g_lookAgain{false};  // at once: not final, or a save was denied since the search began
Candidate g_refused;                   // used by the searching thread only
LoadedClient g_loaded{};               // used by the searching thread only
SRWLOCK g_clientLock{};                // guards g_client
ProtectionClient g_client;

bool IsSame(const Candidate& left, const Candidate& right) noexcept {
  return std::wcscmp(left.path, right.path) == 0 &&
         left.written.dwHighDateTime == right.written.dwHighDateTime &&
         left.written.dwLowDateTime == right.written.dwLowDateTime && left.sizeHigh == right.sizeHigh &&
         left.sizeLow == right.sizeLow;
}

// True if the library was mapped from this file. The file is open, so it cannot have changed since it was
// verified.
bool IsMappedFrom(const LoadedLibrary& library, HANDLE file) noexcept {
  wchar_t path[kOwnPathCapacity];
  if (!GetModulePath(library.Get(), path)) return false;
  const FileHandle mapped(
      CreateFileW(path, 0, FILE_SHARE_READ, nullptr, OPEN_EXISTING, kAnonymously, nullptr));
  BY_HANDLE_FILE_INFORMATION verified;
  BY_HANDLE_FILE_INFORMATION loaded;
  return mapped && GetFileInformationByHandle(file, &verified) &&
         GetFileInformationByHandle(mapped.Get(), &loaded) &&
         verified.dwVolumeSerialNumber == loaded.dwVolumeSerialNumber &&
         verified.nFileIndexHigh == loaded.nFileIndexHigh && verified.nFileIndexLow == loaded.nFileIndexLow;
}

// The result of a search.
struct Finding {
  ProtectionClient client;         // empty if there is none
  std::optional<Refusal> refusal;  // why the candidate is not loaded
  bool isFinal = true;             // false: the next save searches again
  bool restored = true;            // the thread impersonates its user again
};

// Loads the library for the life of the process: a write permission may outlive this module.
std::optional<Refusal> Load(HANDLE file, const wchar_t* path, ProtectionClient& client) noexcept {
  LoadedLibrary library(LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (!library) return Refusal{L"the system does not load it", GetLastError()};
  if (!IsMappedFrom(library, file))
    return Refusal{L"another file was loaded in its place", ERROR_FILE_INVALID};
  ProtectionClient found;
  if (!Resolve(library, SELF_PROTECTION_REQUEST, found.request) ||
      !Resolve(library, SELF_PROTECTION_WITHDRAW, found.withdraw))
    return Refusal{L"an entry point is missing", ERROR_PROC_NOT_FOUND};
  (void)library.Detach();
  client = found;
  return std::nullopt;
}

// Sets `client` if the candidate exists and is not refused.
std::optional<Refusal> FindAndLoad(Candidate& candidate, ProtectionClient& client) noexcept {
  std::optional<Refusal> refusal;
  // Kept open until it is loaded, so that the checked file is the one that runs.
  const FileHandle file = OpenClientFile(candidate.path, refusal);
  if (!file) return refusal;
  BY_HANDLE_FILE_INFORMATION information{};
  GetFileInformationByHandle(file.Get(), &information);
  candidate.written = information.ftLastWriteTime;
  candidate.sizeHigh = information.nFileSizeHigh;
  candidate.sizeLow = information.nFileSizeLow;
  wchar_t ownPath[kOwnPathCapacity];
  refusal = CheckClientFile(file.Get(), ownPath, nullptr);
  return refusal ? refusal : Load(file.Get(), ownPath, client);
}

ProtectionClient KnownClient() noexcept {
  const SharedLock lock(g_clientLock);
  return g_client;
}

// Searches for the client that the settings name. Runs without impersonation: the impersonated user's rights
// and drive letters must not decide.
Finding Find(Candidate& candidate) noexcept {
  Finding finding;
  // A path that does not fit is cut, and then refused for its length.
  if (!ReadSelfProtectionClient(candidate.path) || !candidate.path[0]) return finding;
  if (std::wcscmp(candidate.path, g_loaded.path) == 0) {
    finding.client = g_loaded.functions;
    return finding;
  }
  finding.refusal = FindAndLoad(candidate, finding.client);
  if (finding.client) {
    std::wcscpy(g_loaded.path, candidate.path);
    g_loaded.functions = finding.client;
  }
  finding.isFinal = !finding.refusal || finding.refusal->code != ERROR_SHARING_VIOLATION;
  return finding;
}

Finding Look(Candidate& candidate) noexcept {
  ProcessIdentity process;
  if (!process) {
    Finding finding;
    finding.client = KnownClient();
    finding.isFinal = false;
    if (!finding.client && ReadSelfProtectionClient(candidate.path) && candidate.path[0])
      finding.refusal = Refusal{kNoProcessIdentity, process.Error()};
    return finding;
  }
  Finding finding = Find(candidate);
  finding.restored = process.Restore();
  if (!finding.restored)
    finding.refusal = Refusal{L"this thread cannot act for its client again", GetLastError()};
  return finding;
}

// Searches and publishes the result to the other threads. True if a refusal is to be logged, because it is
// the first one of this file.
bool LookForAll(Candidate& candidate, Finding& finding) noexcept {
  g_lookAgain = false;
  finding = Look(candidate);
  {
    const ExclusiveLock lock(g_clientLock);
    g_client = finding.client;
  }
  const bool isNew = finding.refusal && !IsSame(candidate, g_refused);
  if (finding.refusal) g_refused = candidate;
  if (finding.isFinal)
    g_nextLook = GetTickCount64() + kMillisecondsBetweenLooks;
  else
    g_lookAgain = true;
  g_turn.End();
  return isNew;
}

// Waits until no other thread is searching, or until the tick `end`. False after a timeout, and if this
// thread is the one that is searching. `first` is the search for which the caller has waited all the time. It
// may never end, so after one timeout no later call waits for it.
bool WaitForLook(SearchTurn::Search first, ULONGLONG end) noexcept {
  if (g_turn.Current().isGivenUp) return false;
  while (const DWORD looker = g_turn.Current().thread) {
    if (looker == GetCurrentThreadId()) return false;
    if (GetTickCount64() >= end) {
      g_turn.GiveUp(first);
      return false;
    }
    Sleep(kWaitStep);
  }
  return true;
}

// Starts a search on this thread. False if none is due or another thread is searching.
bool BeginLook() noexcept {
  const ULONGLONG end = GetTickCount64() + kLongestWait;
  const SearchTurn::Search first = g_turn.Current();
  while (g_lookAgain || GetTickCount64() >= g_nextLook) {
    if (g_turn.Begin(GetCurrentThreadId())) return true;
    if (KnownClient() || !WaitForLook(first, end)) return false;
  }
  return false;
}

}  // namespace

ProtectionClient GetProtectionClient() {
  if (!BeginLook()) return KnownClient();
  Candidate candidate{};
  Finding finding;
  if (LookForAll(candidate, finding))
    LogError(kReportFacility, L"Self-protection client %s not loaded: %s (0x%08X)", candidate.path,
             finding.refusal->reason, finding.refusal->code);
  if (!finding.restored) throw HResultError(E_ACCESSDENIED);
  return finding.client;
}

void LookForClientAgain() noexcept {
  g_lookAgain = true;
}

}  // namespace varnel
