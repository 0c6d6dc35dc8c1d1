#include "support/registry_sandbox.h"

#include "base/registry.h"
#include "support/text.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace varnel::test {
namespace {

std::wstring SandboxPath() {
  return L"Software\\VarnelTests\\" + std::to_wstring(GetCurrentProcessId());
}

}  // namespace

RegistrySandbox::RegistrySandbox() {
  EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_CURRENT_USER, SandboxPath().c_str(), 0, nullptr,
                                           REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &root_, nullptr));
  EXPECT_EQ(ERROR_SUCCESS, RegOverridePredefKey(HKEY_LOCAL_MACHINE, root_));
}

RegistrySandbox::~RegistrySandbox() {
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegCloseKey(root_);
  RegDeleteTreeW(HKEY_CURRENT_USER, SandboxPath().c_str());
}

void SetText(const wchar_t* key, const wchar_t* name, const std::wstring& text) {
  const auto* const begin = reinterpret_cast<const BYTE*>(text.c_str());
  SetBytes(key, name, REG_SZ, {begin, begin + (text.size() + 1) * sizeof(wchar_t)});
}

void SetNumber(const wchar_t* key, const wchar_t* name, DWORD number) {
  const auto* const begin = reinterpret_cast<const BYTE*>(&number);
  SetBytes(key, name, REG_DWORD, {begin, begin + sizeof(number)});
}

void SetBytes(const wchar_t* key, const wchar_t* name, DWORD type, const std::vector<BYTE>& bytes) {
  RegistryKey opened;
  ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_LOCAL_MACHINE, key, 0, nullptr, REG_OPTION_VOLATILE,
                                           KEY_ALL_ACCESS, nullptr, opened.Put(), nullptr));
  // For texts, RegSetValueExW reads the characters around the end of the data and stores a terminator that
  // follows it.
  constexpr std::size_t kGuard = 2;
  std::vector<BYTE> guarded(bytes.size() + 2 * kGuard, 0xFF);
  std::copy(bytes.begin(), bytes.end(), guarded.begin() + kGuard);
  ASSERT_EQ(ERROR_SUCCESS, RegSetValueExW(opened.Get(), name, 0, type, guarded.data() + kGuard,
                                          static_cast<DWORD>(bytes.size())));
}

void DeleteValue(const wchar_t* key, const wchar_t* name) {
  ASSERT_EQ(ERROR_SUCCESS, RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, name));
}

std::string ExportKey(HKEY parent, const std::wstring& path, std::size_t depth) {
  RegistryKey key;
  if (RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, key.Put()) != ERROR_SUCCESS) return {};
  std::string text = std::string(depth * 2, ' ') + Narrow(path);
  wchar_t name[300];
  wchar_t value[1000];
  DWORD length = 300;
  DWORD size = sizeof(value);
  for (DWORD i = 0; RegEnumValueW(key.Get(), i, name, &length, nullptr, nullptr,
                                  reinterpret_cast<BYTE*>(value), &size) == ERROR_SUCCESS;
       ++i, length = 300, size = sizeof(value))
    text += " " + (length > 0 ? Narrow(name) + ":" : "") + "'" + Narrow({value, size / 2 - 1}) + "'";
  text += "\n";
  for (DWORD i = 0;
       RegEnumKeyExW(key.Get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
       ++i, length = 300)
    text += ExportKey(key.Get(), name, depth + 1);
  return text;
}

}  // namespace varnel::test
