#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace varnel::test {

constexpr wchar_t kFramework[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\QRN\\Shared Components\\Framework";
constexpr wchar_t kEventParser[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon\\EventParser";
constexpr wchar_t kLog[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon";
constexpr wchar_t kProductOptions[] = L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions";

// Set a value below HKEY_LOCAL_MACHINE, in a key that is made when missing and goes away with the prefix's
// server at the latest.
void SetText(const wchar_t* key, const wchar_t* name, const std::wstring& text);
void SetNumber(const wchar_t* key, const wchar_t* name, DWORD number);
void SetBytes(const wchar_t* key, const wchar_t* name, DWORD type, const std::vector<BYTE>& bytes);
void DeleteValue(const wchar_t* key, const wchar_t* name);

// The key with its texts and all that stands below it, a line for each key; nothing where there is no such
// key.
std::string ExportKey(HKEY parent, const std::wstring& path, std::size_t depth = 0);

// While it lives, HKEY_LOCAL_MACHINE is an empty key of this process alone; a loaded DLL sees it too. Nothing
// of the real machine hive can be seen meanwhile, so no COM class is activated under it.
class RegistrySandbox {
 public:
  RegistrySandbox();
  ~RegistrySandbox();
  RegistrySandbox(const RegistrySandbox&) = delete;
  RegistrySandbox& operator=(const RegistrySandbox&) = delete;

 private:
  HKEY root_ = nullptr;
};

}  // namespace varnel::test
