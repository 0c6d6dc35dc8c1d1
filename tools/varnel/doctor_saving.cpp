// What a save waits for, and whom it asks: other savers, and the self-protection service.

#include "base/locks.h"
#include "dll_file.h"
#include "doctor_checks.h"
#include "events/event_file.h"
#include "protection/client_file.h"
#include "registered_class.h"
#include "reporting.h"

#include <cstdio>
#include <iterator>

namespace varnel::tool {
namespace {

constexpr char kClient[] = "self-protection";
constexpr DWORD kPatience = 2000;  // milliseconds; a save takes a few

// Only opened: one that this made would be this account's.
KernelHandle OpenSaveMutex() {
  return KernelHandle(OpenMutexW(SYNCHRONIZE, FALSE, kSaveMutexName));
}

// The library that asks the client: the registered one, else the one beside this program.
std::wstring LibraryFile() {
  const RegistryKey key = OpenServerKey(KEY_WOW64_64KEY);
  const std::wstring registered = key ? ServerOf(key) : L"";
  return IsFile(registered) ? registered : BesideThisProgram();
}

std::string InWords(const Refusal& refusal) {
  char code[16];
  std::snprintf(code, sizeof(code), " (0x%08lX)", refusal.code);
  return ToUtf8(refusal.reason) + code;
}

Check Refused(const std::string& path, const Refusal& refusal) {
  return {
      kClient, State::kFailure, path + " is refused, and no exception asked for: " + InWords(refusal),
      "Repair the self-protection service; its client is to lie on a local disk, signed by the publisher of "
      "varnel.dll. A root certificate that is missing has to be in the machine's store."};
}

}  // namespace

bool IsSaveMutexHeld() {
  const KernelHandle mutex = OpenSaveMutex();
  return mutex && MutexLock(mutex.Get(), kPatience).TimedOut();
}

Checks CheckSaveMutex() {
  constexpr char kName[] = "save mutex";
  const KernelHandle mutex = OpenSaveMutex();
  if (!mutex && GetLastError() == ERROR_FILE_NOT_FOUND)
    return {{kName, State::kOk, "nobody uses it in this session", ""}};
  if (!mutex)
    return {{kName, State::kWarning,
             "this account may not wait for it: its saves are not kept apart from others'",
             "Run this from the reporting product's account."}};
  const MutexLock lock(mutex.Get(), kPatience);  // given back at once
  if (lock.TimedOut())
    return {{kName, State::kFailure, "somebody has held it for two seconds: every save in this session waits",
             "End the program that hangs in a save; its stack shows where."}};
  if (lock.WasAbandoned())
    return {{kName, State::kWarning, "free, but a program has ended in the middle of a save",
             "Look for a crashed product, and for an event file that is not finished."}};
  return {{kName, State::kOk, "free", ""}};
}

Checks CheckProtection() {
  wchar_t path[kLongestClientPath + 2] = {};  // one more shows that it is too long
  if (!ReadSelfProtectionClient(path) || !path[0])
    return {{kClient, State::kOk, "no client is configured, so no exception is asked for", ""}};
  const std::string shown = Printable(path);
  std::optional<Refusal> refusal;
  const FileHandle file = OpenClientFile(path, refusal);
  if (refusal) return {Refused(shown, *refusal)};
  if (!file)
    return {{kClient, State::kWarning, shown + " is not there, so no exception is asked for",
             "Install the self-protection service, or remove SelfProtectionClient."}};
  wchar_t ownPath[kOwnPathCapacity];
  refusal = CheckClientFile(file.Get(), ownPath, LibraryFile().c_str());
  if (refusal) return {Refused(shown, *refusal)};
  const DllWidth width = WidthOfDll(ownPath);
  if (width == DllWidth::k64)
    return {{kClient, State::kOk, shown + " is trusted; 32-bit products do not load it", ""}};
  if (width == DllWidth::k32)
    return {{kClient, State::kOk, shown + " is trusted; 64-bit products do not load it", ""}};
  return {Refused(shown, {L"it is no DLL for this machine", ERROR_BAD_EXE_FORMAT})};
}

}  // namespace varnel::tool
