// Whether products of both widths find the library, and find the same one.

#include "dll_file.h"
#include "doctor_checks.h"
#include "registered_class.h"
#include "reporting.h"

#include <filesystem>
#include <optional>

namespace varnel::tool {
namespace {

constexpr char kInstall[] = "Install the package, or run regsvr32 on the varnel.dll of this width.";

struct View {
  const char* name;
  REGSAM flag;
  DllWidth width;
};
constexpr View kViews[] = {{"64-bit class", KEY_WOW64_64KEY, DllWidth::k64},
                           {"32-bit class", KEY_WOW64_32KEY, DllWidth::k32}};

// What is wrong with a file that is registered for programs of this width; nothing when it will do.
std::optional<std::string> FaultOf(const std::wstring& file, DllWidth width) {
  if (file.empty()) return "the key names no file";
  if (!std::filesystem::path(file).is_absolute()) return Printable(file) + ": the path is not a full one";
  if (!IsFile(file)) return Printable(file) + ": the file is not there, or this account may not see it";
  const DllWidth found = WidthOfDll(file);
  if (found == DllWidth::kNoDll) return Printable(file) + ": not a DLL, or this account may not read it";
  if (found != width) return Printable(file) + ": a DLL for programs of another width";
  return std::nullopt;
}

// Whether a program, this one, gets a report object from the file.
HRESULT TryFile(const std::wstring& file) {
  Library library;
  const HRESULT opened = library.TryOpenFile(file.c_str());
  return FAILED(opened) ? opened : TryObject(library);
}

Check CheckView(const View& view, const RegistryKey& key) {
  if (!key)
    return {view.name, State::kWarning, "not registered: products of this width get no report object",
            kInstall};
  const std::wstring file = ServerOf(key);
  if (auto fault = FaultOf(file, view.width))
    return {view.name, State::kFailure, *std::move(fault), kInstall};
  if (view.width == DllWidth::k64) {
    const HRESULT result = TryFile(file);
    const VarnelResultText text = DescribeResult(result);
    if (FAILED(result))
      return {view.name, State::kFailure, Printable(file) + ": " + ToUtf8(text.meaning), ToUtf8(text.remedy)};
  }
  const std::string version = VersionOfDll(file);
  if (version.empty())
    return {view.name, State::kWarning, Printable(file) + ": a DLL that does not tell its version", kInstall};
  return {view.name, State::kOk, Printable(file) + ", version " + version, ""};
}

Check CheckVersions(const std::string& version64, const std::string& version32) {
  if (version64 == version32) return {"versions", State::kOk, "both widths are of the same version", ""};
  return {"versions", State::kWarning,
          "64-bit products get version " + version64 + ", 32-bit products " + version32,
          "Install the same package for both widths."};
}

Check CheckTypeLibrary() {
  constexpr char kName[] = "type library";
  BSTR registered = nullptr;
  const HRESULT result = QueryPathOfRegTypeLib(LIBID_VARNELLib, 1, 0, LOCALE_NEUTRAL, &registered);
  const std::wstring file = registered ? registered : L"";  // up to its first zero
  SysFreeString(registered);
  if (FAILED(result) || file.empty())
    return {kName, State::kWarning, "not registered: threads with a window, and PowerShell, get no object",
            kInstall};
  if (!IsFile(file))
    return {kName, State::kWarning,
            Printable(file) + ": not there, so threads with a window, and PowerShell, get no object",
            kInstall};
  return {kName, State::kOk, Printable(file), ""};
}

Check CheckSideBySide() {
  constexpr char kName[] = "registration";
  if (IsFile(BesideThisProgram()))
    return {kName, State::kWarning,
            "there is none, and " + Printable(BesideThisProgram()) +
                " lies beside this program: products that bring their own copy can use it, others cannot",
            "Install the package where products without a copy of their own report events."};
  return {kName, State::kFailure, "there is none: products without a copy of their own get no report object",
          "Install the package, or run regsvr32 on varnel.dll."};
}

}  // namespace

Checks CheckRegistration() {
  const RegistryKey keys[] = {OpenServerKey(kViews[0].flag), OpenServerKey(kViews[1].flag)};
  if (!keys[0] && !keys[1]) return {CheckSideBySide()};
  Checks checks = {CheckView(kViews[0], keys[0]), CheckView(kViews[1], keys[1])};
  // A file without a version has been spoken of.
  const std::string versions[] = {VersionOfDll(ServerOf(keys[0])), VersionOfDll(ServerOf(keys[1]))};
  if (!versions[0].empty() && !versions[1].empty()) checks.push_back(CheckVersions(versions[0], versions[1]));
  checks.push_back(CheckTypeLibrary());
  return checks;
}

}  // namespace varnel::tool
