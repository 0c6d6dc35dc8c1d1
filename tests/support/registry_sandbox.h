#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace varnel::test {

constexpr wchar_t kFramework[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\QRN\\Shared Components\\Framework";
constexpr wchar_t kEventParser[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon\\EventParser";
constexpr wchar_t kLog[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon";
constexpr wchar_t kProductOptions[] = L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions";

// Set or delete a value below HKEY_LOCAL_MACHINE; fail the test if Windows refuses. SetText, SetNumber and
// SetBytes create a missing key as a volatile one.
void SetText(const wchar_t* key, const wchar_t* name, const std::wstring& text);
void SetNumber(const wchar_t* key, const wchar_t* name, DWORD number);
void SetBytes(const wchar_t* key, const wchar_t* name, DWORD type, const std::vector<BYTE>& bytes);
void DeleteValue(const wchar_t* key, const wchar_t* name);

// Returns the key, its texts and its subkeys as text, a line for each key. Returns an empty text for a
// missing key.
std::string ExportKey(HKEY parent, const std::wstring& path, std::size_t depth = 0);

// During its lifetime this process, with every loaded DLL, sees an empty volatile key as HKEY_LOCAL_MACHINE.
// Registered COM classes cannot be activated meanwhile.
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
