// A planted library: an attacker puts it beside a host's program under the name of a Windows library. It
// records that it has run.

#include <windows.h>

#include <cwchar>

BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, void*) {
  wchar_t path[500];
  if (reason == DLL_PROCESS_ATTACH && GetModuleFileNameW(self, path, 490) != 0)
    CloseHandle(
        CreateFileW(std::wcscat(path, L".ran"), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  return TRUE;
}
