// Stands in for the service's client library: gives every exception and writes down what it saw at the time.
// With STAND_IN_WITHOUT_WITHDRAWAL one of its entry points is missing.

#include "varnel/self_protection_client.h"

#include <cstdio>
#include <cwchar>

namespace {

constexpr ULONGLONG kToken = 0x1234567890ABCDEF;
constexpr std::size_t kCapacity = 2000;
wchar_t g_record[kCapacity];
wchar_t g_path[500];
LONG g_answer = 0;
SRWLOCK g_lock{};  // withdrawals come at any time, also while another thread requests

bool Exists(const wchar_t* path) {
  return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

bool FolderExists(const wchar_t* path) {
  wchar_t folder[500];
  wcscpy(folder, path);
  *wcsrchr(folder, L'\\') = L'\0';
  return Exists(folder);
}

// Whether the calling thread holds the mutex that every saver takes.
bool HoldsSaveMutex() {
  const HANDLE mutex = OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, L"ORBAEVTINFMUTEX");
  const bool held = ReleaseMutex(mutex) != FALSE;
  if (held) WaitForSingleObject(mutex, INFINITE);
  CloseHandle(mutex);
  return held;
}

void Record(const wchar_t* call) {
  const bool held = HoldsSaveMutex();  // lets go of it for a moment
  AcquireSRWLockExclusive(&g_lock);
  const std::size_t used = wcslen(g_record);
  _snwprintf(g_record + used, kCapacity - 1 - used, L"%s:%s%s%s;", call, held ? L" mutex" : L"",
             FolderExists(g_path) ? L" folder" : L"", Exists(g_path) ? L" file" : L"");
  ReleaseSRWLockExclusive(&g_lock);
}

// True if this library's file can be replaced while it is being loaded.
bool FileCanBeReplaced(HINSTANCE self) {
  wchar_t path[500];
  wchar_t away[510];
  GetModuleFileNameW(self, path, 500);
  wcscpy(away, path);
  wcscat(away, L".away");
  if (!MoveFileW(path, away)) return false;
  MoveFileW(away, path);
  return true;
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH && FileCanBeReplaced(self)) wcscpy(g_record, L"file can be replaced;");
  return TRUE;
}

extern "C" {

__declspec(dllexport) LONG WINAPI
    SelfProtectionRequestException(DWORD processId, const wchar_t* path, ULONGLONG* token) {
  if (processId != GetCurrentProcessId()) return ERROR_INVALID_PARAMETER;
  wcscpy(g_path, path);
  *token = kToken;
  Record(L"request");
  return g_answer;
}

#ifndef STAND_IN_WITHOUT_WITHDRAWAL
__declspec(dllexport) void WINAPI SelfProtectionWithdrawException(ULONGLONG token) {
  Record(token == kToken ? L"withdraw" : L"withdraw of another");
}
#endif

// For the test: what has been recorded so far, which is then forgotten; and what to answer from now on.
__declspec(dllexport) void WINAPI StandInTake(wchar_t (&record)[kCapacity], LONG answerFromNowOn) {
  wcscpy(record, g_record);
  g_record[0] = L'\0';
  g_answer = answerFromNowOn;
}
}
