// Rows about the registration: whether 64-bit and 32-bit products find the library, in the same version, and
// whether it is safe to load.

#include "base/files.h"
#include "doctor/checks.h"
#include "machine/dll_file.h"
#include "machine/dll_image.h"
#include "machine/file_trust.h"
#include "machine/registered_class.h"
#include "machine/registry_value.h"
#include "machine/self_process.h"
#include "report/result_words.h"
#include "varnel/varnel.hpp"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>

namespace varnel::tool {
namespace {

struct View {
  const char* bits;
  REGSAM flag;
  DllKind dll;
};
constexpr View kViews[] = {{"64-bit", KEY_WOW64_64KEY, DllKind::k64Bit},
                           {"32-bit", KEY_WOW64_32KEY, DllKind::k32Bit}};

constexpr char kSafePlace[] =
    "Install the library in a folder that only administrators can change, like C:\\Program Files.";

std::string Install(const View& view) {
  return std::string("Install the package, or run regsvr32 on the ") + view.bits + " varnel.dll.";
}

// Returns the fault of the registered path; nothing if it leads to a file.
std::optional<std::string> FaultOfPlace(const RegistryKey& key, const std::wstring& file) {
  const auto value = ReadValue(key, L"");
  if (!value) return "InprocServer32 names no file: its default value is not set";
  if (value->type != REG_SZ && value->type != REG_EXPAND_SZ)
    return "InprocServer32 names no file: its default value is " + Described(*value) +
           ", not a text (REG_SZ)";
  if (file.empty())
    return value->Text().empty() ? "InprocServer32 names no file: its default value is empty"
                                 : "InprocServer32 names no file: its default value is too long";
  if (file.find(L'"') != file.npos) return Printable(file) + ": the path has quotation marks";
  if (!std::filesystem::path(file).is_absolute())
    return Printable(file) + ": not a full path, so each program searches for the file";
  const DWORD attributes = GetFileAttributesW(file.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES)
    return Printable(file) + (GetLastError() == ERROR_ACCESS_DENIED ? ": this account may not access the file"
                                                                    : ": the file does not exist");
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return Printable(file) + ": a folder, not a DLL";
  return std::nullopt;
}

// Returns the fault of the file by its own header; nothing if there is none.
std::optional<std::string> FaultOfFile(const std::wstring& file, const View& view) {
  const FileHandle opened(
      CreateFileW(file.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, kAnonymously, nullptr));
  if (!opened) return Printable(file) + ": cannot be opened (error " + std::to_string(GetLastError()) + ")";
  if (IsCutShort(file)) return Printable(file) + ": the file is damaged: its end is missing";
  switch (KindOfDll(file)) {
    case DllKind::kNoDll:
      return Printable(file) + ": not a DLL";
    case DllKind::kOther:
      return Printable(file) + ": a DLL for another processor";
    case DllKind::k32Bit:
    case DllKind::k64Bit:
      break;
  }
  if (KindOfDll(file) == view.dll) return std::nullopt;
  return Printable(file) + ": a " + (view.dll == DllKind::k64Bit ? "32-bit" : "64-bit") +
         " DLL, registered for " + view.bits + " products";
}

// Returns why a DLL creates no report object, in words that follow its path.
std::string WhyNoObject(std::optional<DWORD> result, int seconds) {
  if (!result) return "loading takes longer than " + Counted(static_cast<std::uint64_t>(seconds), "second");
  const auto code = static_cast<HRESULT>(*result);
  switch (code) {
    case SystemResult(ERROR_BAD_EXE_FORMAT):
      return "the file is damaged: Windows refuses to load it (error 193)";
    case SystemResult(ERROR_MOD_NOT_FOUND):
      return "a DLL that it needs is missing (error 126)";
    case SystemResult(ERROR_PROC_NOT_FOUND):
    case CLASS_E_CLASSNOTAVAILABLE:
    case E_NOINTERFACE:
      return "a DLL of another product: it has no OrbaEventInf class";
    case SystemResult(ERROR_DLL_INIT_FAILED):
      return "its start-up code fails (error 1114)";
    case SystemResult(ERROR_NOACCESS):
      return "its start-up code crashes (error 998)";
    case E_ACCESSDENIED:
      return "this account may not load it (error 5)";
    default:
      return ((*result & 0xF0000000) == 0xC0000000 ? "the program that loads it crashes: "
                                                   : "it creates no report object: ") +
             WordsOf(code).code;
  }
}

// Returns the faults of a class's registration besides its file.
std::string FaultsOfKey(HKEY root, REFCLSID classId, const View& view) {
  std::string faults;
  const RegistryKey server = OpenClassKey(root, classId, L"\\InprocServer32", view.flag);
  const auto model = ReadValue(server, L"ThreadingModel");
  if (!model)
    AddTo(faults, "ThreadingModel is not set, and must be \"Free\"");
  else if (model->type != REG_SZ || _wcsicmp(model->Text().c_str(), L"Free") != 0)
    AddTo(faults, "ThreadingModel is " + Described(*model) + "; it must be \"Free\"");
  if (const auto other = ReadValue(OpenClassKey(root, classId, L"\\TreatAs", view.flag), L""))
    AddTo(faults, "TreatAs redirects products to another class, " + Printable(other->Text()));
  return faults;
}

// The row for 64-bit or for 32-bit products.
struct ViewResult {
  Row row;
  std::wstring file;
  std::string version;
};

void Warn(Row& row, const std::string& found, const std::string& remedy) {
  row.state = std::max(row.state, State::kWarning);
  row.found += "; " + found;
  if (row.remedy.empty()) row.remedy = remedy;
}

void CheckElementClass(const View& view, ViewResult& result) {
  const RegistryKey key =
      OpenClassKey(HKEY_LOCAL_MACHINE, CLSID_EventElement, L"\\InprocServer32", view.flag);
  if (!key)
    Warn(result.row, "the second class, EventElement, is not registered", Install(view));
  else if (_wcsicmp(ServerOf(key).c_str(), result.file.c_str()) != 0)
    Warn(result.row, "the second class, EventElement, is registered with " + Printable(ServerOf(key)),
         Install(view));
  else if (const auto faults = FaultsOfKey(HKEY_LOCAL_MACHINE, CLSID_EventElement, view); !faults.empty())
    Warn(result.row, "the second class, EventElement: " + faults, Install(view));
}

ViewResult CheckView(const View& view, int seconds) {
  const std::string name = std::string(view.bits) + " class";
  const RegistryKey key = OpenServerKey(view.flag);
  if (!key)
    return {{name, State::kWarning,
             std::string("not registered: ") + view.bits + " products get 0x80040154 (REGDB_E_CLASSNOTREG)",
             Install(view)},
            L"",
            ""};
  ViewResult result{{name, State::kFailure, "", Install(view)}, ServerOf(key), ""};
  auto fault = FaultOfPlace(key, result.file);
  if (!fault) fault = FaultOfFile(result.file, view);
  if (fault) {
    result.row.found = *std::move(fault);
    return result;
  }
  const std::string shown = Printable(result.file);
  result.version = VersionOfDll(result.file);
  result.row = {name, State::kOk,
                shown + (result.version.empty() ? ", of unknown version" : ", version " + result.version),
                ""};
  if (const auto danger = WhyNotTrusted(result.file)) {
    Warn(result.row, "not loaded here, because users could replace it: " + *danger, kSafePlace);
  } else if (view.dll == DllKind::k64Bit) {
    const auto loaded = RunThisProgram({"load", ToUtf8(result.file)}, seconds);
    if (loaded != DWORD{S_OK}) {
      result.row = {name, State::kFailure, shown + ": " + WhyNoObject(loaded, seconds), Install(view)};
      return result;
    }
  }
  if (result.version.empty()) Warn(result.row, "a DLL without a version", Install(view));
  if (const auto faults = FaultsOfKey(HKEY_LOCAL_MACHINE, CLSID_OrbaEventInf, view); !faults.empty())
    Warn(result.row, faults, Install(view));
  CheckElementClass(view, result);
  return result;
}

Row CheckVersions(const std::string& version64, const std::string& version32) {
  if (version64 == version32)
    return {"versions", State::kOk, "64-bit and 32-bit products use the same version", ""};
  return {"versions", State::kWarning,
          "64-bit products use version " + version64 + ", 32-bit products version " + version32,
          "Install the same package for both."};
}

// Checks for a registration below HKEY_CURRENT_USER, which overrides the machine's for this account.
Row CheckAccount() {
  constexpr char kName[] = "own registration";
  for (const View& view : kViews)
    if (const RegistryKey key =
            OpenClassKey(HKEY_CURRENT_USER, CLSID_OrbaEventInf, L"\\InprocServer32", view.flag))
      return {kName, State::kWarning,
              "this account has a " + std::string(view.bits) + " registration of its own, " +
                  Printable(ServerOf(key)) + ": its programs use this DLL, and services do not",
              "Remove the class below HKCU\\SOFTWARE\\Classes\\CLSID and install the package."};
  return {kName, State::kOk, "none: this account uses the machine's registration", ""};
}

// Checks the names by which scripts create the class.
Row CheckScriptNames() {
  constexpr char kName[] = "script name";
  constexpr char kRemedy[] = "Install the package, or run regsvr32 on varnel.dll.";
  wchar_t guid[39];
  StringFromGUID2(CLSID_OrbaEventInf, guid, 39);
  for (const wchar_t* const name : {L"Varnel.OrbaEventInf", L"Varnel.OrbaEventInf.1"}) {
    const std::wstring path = std::wstring(L"SOFTWARE\\Classes\\") + name + L"\\CLSID";
    const auto value = ReadValue(OpenRegistryKey(HKEY_LOCAL_MACHINE, path.c_str(), KEY_QUERY_VALUE), L"");
    if (!value)
      return {kName, State::kWarning, ToUtf8(name) + " is not registered: scripts cannot create reports",
              kRemedy};
    if (_wcsicmp(value->Text().c_str(), guid) != 0)
      return {kName, State::kWarning, ToUtf8(name) + " leads to another class, " + Printable(value->Text()),
              kRemedy};
  }
  return {kName, State::kOk, "Varnel.OrbaEventInf", ""};
}

// True if calls of the interface can be marshalled to another thread.
bool HasProxy(REFIID id) {
  wchar_t guid[39];
  StringFromGUID2(id, guid, 39);
  const std::wstring path = std::wstring(L"SOFTWARE\\Classes\\Interface\\") + guid + L"\\ProxyStubClsid32";
  return static_cast<bool>(
      OpenRegistryKey(HKEY_LOCAL_MACHINE, path.c_str(), KEY_QUERY_VALUE | KEY_WOW64_64KEY));
}

Row CheckTypeLibrary() {
  constexpr char kName[] = "type library";
  constexpr char kEffect[] = ": PowerShell, and threads with a window, cannot create reports";
  constexpr char kRemedy[] = "Install the package, or run regsvr32 on varnel.dll.";
  BSTR registered = nullptr;
  const HRESULT result = QueryPathOfRegTypeLib(LIBID_VARNELLib, 1, 0, LOCALE_NEUTRAL, &registered);
  const std::wstring file = registered ? registered : L"";  // up to its first zero
  SysFreeString(registered);
  if (FAILED(result) || file.empty())
    return {kName, State::kWarning, std::string("not registered") + kEffect, kRemedy};
  const std::string shown = Printable(file);
  if (!IsFile(file)) return {kName, State::kWarning, shown + ": the file does not exist" + kEffect, kRemedy};
  // Loading a file that is not a type library may run code of a class that the file names.
  if (const auto danger = WhyNotTrusted(file))
    return {kName, State::kWarning, shown + ": not read here, because users could replace it: " + *danger,
            kSafePlace};
  ITypeLib* library = nullptr;
  const HRESULT opened = LoadTypeLibEx(file.c_str(), REGKIND_NONE, &library);
  const detail::Reference<ITypeLib> owner(library);
  TLIBATTR* facts = nullptr;
  bool isOurs = false;
  if (SUCCEEDED(opened) && SUCCEEDED(library->GetLibAttr(&facts))) {
    isOurs = IsEqualGUID(facts->guid, LIBID_VARNELLib);
    library->ReleaseTLibAttr(facts);
  }
  if (!isOurs) return {kName, State::kWarning, shown + ": not the type library VARNELLib" + kEffect, kRemedy};
  for (const auto& [name, id] : {std::pair("IOrbaEventInf3", __uuidof(IOrbaEventInf3)),
                                 std::pair("IEventElement", __uuidof(IEventElement))})
    if (!HasProxy(id))
      return {kName, State::kWarning, std::string("its interface ") + name + " is not registered" + kEffect,
              kRemedy};
  return {kName, State::kOk, shown, ""};
}

}  // namespace

bool IsRegisteredDllSafe() {
  for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    if (OpenClassKey(root, CLSID_OrbaEventInf, L"\\TreatAs", KEY_WOW64_64KEY)) return false;
    const RegistryKey key = OpenClassKey(root, CLSID_OrbaEventInf, L"\\InprocServer32", KEY_WOW64_64KEY);
    if (!key) continue;
    const std::wstring file = ServerOf(key);
    if (FaultOfPlace(key, file) || WhyNotTrusted(file)) return false;
  }
  return true;
}

Rows CheckRegistration(int seconds) {
  const ViewResult results[] = {CheckView(kViews[0], seconds), CheckView(kViews[1], seconds)};
  Rows rows;
  if (!OpenServerKey(kViews[0].flag) && !OpenServerKey(kViews[1].flag)) {
    rows.push_back(
        {"registration", State::kFailure,
         "missing: products get 0x80040154 (REGDB_E_CLASSNOTREG), unless they keep varnel.dll and its "
         "manifest in their own folder",
         "Install the package, or run regsvr32 on varnel.dll."});
    return rows;
  }
  for (const ViewResult& result : results) rows.push_back(result.row);
  if (!results[0].version.empty() && !results[1].version.empty())
    rows.push_back(CheckVersions(results[0].version, results[1].version));
  rows.push_back(CheckAccount());
  rows.push_back(CheckScriptNames());
  rows.push_back(CheckTypeLibrary());
  return rows;
}

}  // namespace varnel::tool
