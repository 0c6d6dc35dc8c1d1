#include "com/registration.h"

#include "base/com_ptr.h"
#include "base/hresult.h"
#include "com/class_table.h"
#include "com/module.h"
#include "com/registrar.h"
#include "varnel/varnel.h"

namespace varnel {
namespace {

#if defined(_WIN64)
constexpr SYSKIND kSystemKind = SYS_WIN64;
#else
constexpr SYSKIND kSystemKind = SYS_WIN32;
#endif

std::wstring GuidText(REFGUID guid) {
  wchar_t text[39];
  StringFromGUID2(guid, text, 39);
  return text;
}

std::string_view LoadScript(WORD number) {
  const HINSTANCE module = Module::Instance().Handle();
  const HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(number), L"REGISTRY");
  const HGLOBAL loaded = resource ? LoadResource(module, resource) : nullptr;
  const void* const bytes = loaded ? LockResource(loaded) : nullptr;
  if (!bytes) throw HResultError(HRESULT_FROM_WIN32(GetLastError()));
  return {static_cast<const char*>(bytes), SizeofResource(module, resource)};
}

std::vector<ScriptKey> KeysOf(const ClassEntry& entry) {
  const ScriptVariables variables = {
      {"MODULE", Module::Instance().Path()},
      {"CLSID", GuidText(*entry.clsid)},
      {"LIBID", GuidText(LIBID_VARNELLib)},
  };
  auto keys = ParseRegistrationScript(LoadScript(entry.registrationScript), variables);
  if (!keys) throw HResultError(HRESULT_FROM_WIN32(ERROR_INVALID_DATA));
  return *std::move(keys);
}

}  // namespace

HRESULT RegisterModule() {
  for (const auto& entry : kClassTable) ThrowIfFailed(RegisterKeys(HKEY_CLASSES_ROOT, KeysOf(entry)));
  std::wstring path = Module::Instance().Path();
  ComPtr<ITypeLib> library;
  ThrowIfFailed(LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.Put()));
  return RegisterTypeLib(library.Get(), path.data(), nullptr);
}

HRESULT UnregisterModule() {
  for (const auto& entry : kClassTable) ThrowIfFailed(UnregisterKeys(HKEY_CLASSES_ROOT, KeysOf(entry)));
  BSTR registeredPath = nullptr;
  const HRESULT registered = QueryPathOfRegTypeLib(LIBID_VARNELLib, 1, 0, LOCALE_NEUTRAL, &registeredPath);
  SysFreeString(registeredPath);
  if (registered == TYPE_E_LIBNOTREGISTERED) return S_OK;
  return UnRegisterTypeLib(LIBID_VARNELLib, 1, 0, LOCALE_NEUTRAL, kSystemKind);
}

}  // namespace varnel
