// DllMain: what happens when the library is loaded into a process and unloaded from it.

#include "com/class_table.h"
#include "com/module.h"
#include "runtime/compiler_runtime.h"
#include "runtime/load_restriction.h"
#include "settings/agent_settings.h"

#include <windows.h>

#if defined(_MSC_VER)
#pragma warning(disable : 4996)  // GetVersionEx: the question is about a system that knew nothing newer
#endif

using varnel::Module;

namespace {

bool HostIsRefused() noexcept {
  OSVERSIONINFOW record{};  // the short form: the system in question knows no other
  record.dwOSVersionInfoSize = sizeof(record);
  GetVersionExW(&record);
  const varnel::HostVersion version{record.dwPlatformId, record.dwMajorVersion};
  if (!varnel::IsNt4(version)) return false;  // nothing else is asked of a newer system
  wchar_t host[260];
  const DWORD length = GetModuleFileNameW(nullptr, host, 260);
  return !varnel::MayLoad(version, varnel::IsAgentManaged(), {host, length});
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* processEnds);

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* processEnds) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      if (HostIsRefused()) return FALSE;
      Module::Instance().Attach(instance);
#if !defined(_MSC_VER)  // MSVC's static runtime needs the notifications
      // Windows refuses this for a library with a TLS directory, which mingw's runtime brings. That runtime
      // then uses the notifications to free what it keeps for a thread.
      DisableThreadLibraryCalls(instance);
#endif
      break;
    case DLL_PROCESS_DETACH:
      // At process exit Windows frees everything, and libraries that we would call may already be gone.
      if (processEnds) break;
      varnel::ReleaseClassObjects();
      Module::Instance().Detach();
      varnel::ReleaseCompilerRuntime();
      break;
    default:
      break;
  }
  return TRUE;
}
