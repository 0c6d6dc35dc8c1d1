// A DLL that misbehaves while it is loaded, by its file name: hang.dll, crash.dll, end.dll; others refuse to
// start.

#include <windows.h>

#include <string>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
  if (reason != DLL_PROCESS_ATTACH) return TRUE;
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(module, path, MAX_PATH);
  const std::wstring_view name(path);
  if (name.ends_with(L"hang.dll")) Sleep(INFINITE);
  if (name.ends_with(L"crash.dll"))
    RaiseException(EXCEPTION_ACCESS_VIOLATION, EXCEPTION_NONCONTINUABLE, 0, nullptr);
  if (name.ends_with(L"end.dll")) TerminateProcess(GetCurrentProcess(), 0xC0000409);
  return FALSE;
}
