// Rows about the save mutex and the self-protection service, for which a save waits.

#include "base/locks.h"
#include "doctor/checks.h"
#include "events/event_file.h"
#include "machine/dll_file.h"
#include "machine/path_fault.h"
#include "machine/registered_class.h"
#include "machine/registry_value.h"
#include "protection/client_file.h"
#include "settings/agent_settings.h"

#include <cstdio>
#include <iterator>

namespace varnel::tool {
namespace {

constexpr char kClient[] = "self-protection";
constexpr DWORD kPatience = 2000;  // milliseconds; a save takes a few

// Opens the save mutex and never creates it: the new mutex would belong to this account.
KernelHandle OpenExistingSaveMutex() {
  return KernelHandle(OpenMutexW(SYNCHRONIZE, FALSE, kSaveMutexName));
}

std::string InWords(const Refusal& refusal) {
  char code[16];
  std::snprintf(code, sizeof(code), " (0x%08lX)", refusal.code);
  return ToUtf8(refusal.reason) + code;
}

Row Refused(const std::string& path, const Refusal& refusal) {
  return {
      kClient, State::kFailure,
      path + " is refused, so no write permission is requested: " + InWords(refusal),
      "Repair the self-protection service. Its client must be on a local disk and signed by the publisher of "
      "varnel.dll, and the root certificate must be in the machine's store."};
}

}  // namespace

SaveMutex CheckSaveMutex() {
  constexpr char kName[] = "save mutex";
  const KernelHandle mutex = OpenExistingSaveMutex();
  const DWORD error = GetLastError();
  if (!mutex && error == ERROR_FILE_NOT_FOUND)
    return {{kName, State::kOk, "free: no program of this session is saving", ""}};
  if (!mutex && error == ERROR_INVALID_HANDLE)
    return {{kName, State::kWarning,
             "another program uses the name ORBAEVTINFMUTEX for another object: saves may overlap",
             "End that program, or change the name that it uses."}};
  if (!mutex)
    return {{kName, State::kWarning,
             "this account may not wait for it (error " + std::to_string(error) +
                 "): its saves may overlap with others",
             "Run varnel doctor as the account of the reporting product."}};
  const MutexLock lock(mutex.Get(), kPatience);  // released at once
  if (lock.TimedOut())
    return {{kName, State::kFailure,
             "a program has held it for two seconds: every save in this session waits for it",
             "End the program that hangs in a save: look for a product that does not respond."},
            true};
  if (lock.WasAbandoned())
    return {{kName, State::kWarning, "free, but a program has ended in the middle of a save",
             "Look for a product that has crashed, and for an unfinished event file."}};
  return {{kName, State::kOk, "free", ""}};
}

Rows CheckProtection() {
  wchar_t path[kLongestClientPath + 2] = {};  // one more character shows that the path is too long
  if (!ReadSelfProtectionClient(path) || !path[0])
    return {{kClient, State::kOk, "no client is configured, so no write permission is requested", ""}};
  const auto value =
      ReadValue(OpenRegistryKey(HKEY_LOCAL_MACHINE, kFrameworkKey, KEY_QUERY_VALUE), L"SelfProtectionClient");
  if (value && value->type != REG_SZ)
    return {{kClient, State::kFailure,
             "SelfProtectionClient is " + Described(*value) +
                 ", not a text (REG_SZ), so no write permission is requested",
             "Repair the self-protection service, which sets it, or remove it."}};
  if (const auto fault = FindPathFault(path))
    return {{kClient, State::kFailure,
             "SelfProtectionClient " + fault->found + ", so no write permission is requested",
             fault->remedy}};
  const std::string shown = Printable(path);
  std::optional<Refusal> refusal;
  const FileHandle file = OpenClientFile(path, refusal);
  if (refusal) return {Refused(shown, *refusal)};
  if (!file)
    return {{kClient, State::kWarning, shown + " does not exist, so no write permission is requested",
             "Install the self-protection service, or remove SelfProtectionClient."}};
  wchar_t ownPath[kOwnPathCapacity];
  // Without a registered library the client's publisher is compared with this program's, which is the
  // library's publisher too.
  const RegistryKey key = OpenServerKey(KEY_WOW64_64KEY);
  const std::wstring library = key ? ServerOf(key) : L"";
  refusal = CheckClientFile(file.Get(), ownPath, IsFile(library) ? library.c_str() : nullptr);
  if (refusal) return {Refused(shown, *refusal)};
  const DllKind kind = KindOfDll(ownPath);
  if (kind == DllKind::k64Bit)
    return {{kClient, State::kOk, shown + " is trusted; 32-bit products do not load it", ""}};
  if (kind == DllKind::k32Bit)
    return {{kClient, State::kOk, shown + " is trusted; 64-bit products do not load it", ""}};
  return {Refused(shown, {L"it is not a DLL for this machine", ERROR_BAD_EXE_FORMAT})};
}

}  // namespace varnel::tool
