// Compares the contract that deployed callers rely on, as a whole, with the files of facts.

#include "support/library.h"

#include <map>
#include <sstream>

namespace varnel::test {
namespace {

std::string GuidText(REFGUID guid) {
  wchar_t text[39];
  StringFromGUID2(guid, text, 39);
  return Narrow(text);
}

std::string Take(BSTR text) {
  const std::string taken = Narrow({text, SysStringLen(text)});
  SysFreeString(text);
  return taken;
}

// "Name 'help text'" of a type or of its member.
template <class Described>
std::string Documentation(Described& described, LONG index) {
  BSTR name = nullptr;
  BSTR help = nullptr;
  EXPECT_EQ(S_OK, described.GetDocumentation(index, &name, &help, nullptr, nullptr));
  return Take(name) + " '" + Take(help) + "'";
}

ComPtr<ITypeInfo> Referenced(ITypeInfo& type, HREFTYPE reference) {
  ComPtr<ITypeInfo> referenced;
  EXPECT_EQ(S_OK, type.GetRefTypeInfo(reference, referenced.Put()));
  return referenced;
}

std::string NameOf(ITypeInfo& type) {
  BSTR name = nullptr;
  EXPECT_EQ(S_OK, type.GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr));
  return Take(name);
}

std::string TypeName(ITypeInfo& type, const TYPEDESC& description) {
  static const std::map<VARTYPE, const char*> names = {{VT_UNKNOWN, "IUnknown*"}, {VT_BSTR, "BSTR"},
                                                       {VT_I4, "long"},           {VT_DATE, "DATE"},
                                                       {VT_VOID, "void"},         {VT_HRESULT, "HRESULT"}};
  if (description.vt == VT_PTR) return TypeName(type, *description.lptdesc) + "*";
  if (description.vt == VT_USERDEFINED) return NameOf(*Referenced(type, description.hreftype));
  const auto name = names.find(description.vt);
  return name == names.end() ? "type " + std::to_string(description.vt) : name->second;
}

void DescribeMethod(ITypeInfo& type, const FUNCDESC& method, std::ostream& out) {
  BSTR names[10] = {};
  UINT count = 0;
  EXPECT_EQ(S_OK, type.GetNames(method.memid, names, 10, &count));
  out << "  slot " << method.oVft / static_cast<int>(sizeof(void*)) << " id " << method.memid << " "
      << TypeName(type, method.elemdescFunc.tdesc) << " " << Documentation(type, method.memid) << "(";
  for (UINT i = 0; i < count; ++i) {
    const std::string name = Take(names[i]);
    if (i == 0) continue;
    const ELEMDESC& parameter = method.lprgelemdescParam[i - 1];
    out << (i > 1 ? ", " : "") << (parameter.paramdesc.wParamFlags & PARAMFLAG_FOUT ? "out " : "")
        << TypeName(type, parameter.tdesc) << " " << name;
  }
  out << ")\n";
}

void DescribeType(ITypeInfo& type, std::ostream& out) {
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(S_OK, type.GetTypeAttr(&attributes));
  out << GuidText(attributes->guid) << " kind " << attributes->typekind << std::hex << " flags "
      << attributes->wTypeFlags << std::dec << "\n";
  for (UINT i = 0; i < attributes->cImplTypes; ++i) {
    HREFTYPE reference = 0;
    INT flags = 0;
    EXPECT_EQ(S_OK, type.GetRefTypeOfImplType(i, &reference));
    EXPECT_EQ(S_OK, type.GetImplTypeFlags(i, &flags));
    out << "  " << (flags & IMPLTYPEFLAG_FDEFAULT ? "default " : "")
        << (flags & IMPLTYPEFLAG_FSOURCE ? "source " : "") << NameOf(*Referenced(type, reference)) << "\n";
  }
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    FUNCDESC* method = nullptr;
    ASSERT_EQ(S_OK, type.GetFuncDesc(i, &method));
    DescribeMethod(type, *method, out);
    type.ReleaseFuncDesc(method);
  }
  type.ReleaseTypeAttr(attributes);
}

TEST(Contract, TypeLibraryIsWhatCallersAreBoundTo) {
  ComPtr<ITypeLib> library;
  ASSERT_EQ(S_OK, LoadTypeLibEx(Library::Path().c_str(), REGKIND_NONE, library.Put()));
  std::ostringstream out;
  TLIBATTR* attributes = nullptr;
  ASSERT_EQ(S_OK, library->GetLibAttr(&attributes));
  out << "library " << Documentation(*library.Get(), -1) << " " << GuidText(attributes->guid) << " version "
      << attributes->wMajorVerNum << "." << attributes->wMinorVerNum << "\n";
  library->ReleaseTLibAttr(attributes);
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    ComPtr<ITypeInfo> type;
    ASSERT_EQ(S_OK, library->GetTypeInfo(i, type.Put()));
    out << "\n" << Documentation(*library.Get(), static_cast<INT>(i)) << " ";
    // A dual interface's other half has its own methods and its base; the dispatch half is asked for nothing.
    HREFTYPE other = 0;
    const bool dual = type->GetRefTypeOfImplType(static_cast<UINT>(-1), &other) == S_OK;
    DescribeType(dual ? *Referenced(*type, other) : *type, out);
  }
  EXPECT_EQ(ReadFacts("golden/type_library.txt"), out.str());
}

std::string Registered() {
  std::string text;
  const auto add = [&](const std::wstring& path) { text += ExportKey(HKEY_CLASSES_ROOT, path); };
  for (const wchar_t* const name :
       {L"OrbaEventInf", L"EventElement", L"OrbaEventInf2", L"OrbaEventInfCallback"})
    for (const wchar_t* const version : {L"", L".1"}) add(std::wstring(L"Varnel.") + name + version);
  for (const GUID& clsid : {CLSID_OrbaEventInf, CLSID_EventElement, CLSID_OrbaEventInfCallback})
    add(L"CLSID\\" + Wide(GuidText(clsid)));
  add(L"TypeLib\\" + Wide(GuidText(LIBID_VARNELLib)));
  for (const GUID& iid : {DIID__IOrbaEventInfEvents, IID_IEventElement, IID_IOrbaEventInf, IID_IOrbaEventInf2,
                          IID_IOrbaEventInf3, IID_IOrbaEventInfCallback})
    add(L"Interface\\" + Wide(GuidText(iid)));
  // What depends on where the library is, on its width and on the system.
  text = Replaced(text, Narrow(Library::Path()), "<library>");
  text = Replaced(RegexReplaced(text, "'[^']*[/\\\\]varnel\\.dll'", "'<library>'"), "win32", "win64");
  return RegexReplaced(text, "(FLAGS|HELPDIR) '[^']*'", "$1 ...");
}

TEST(Contract, RegistrationWritesEveryKeyAndLeavesNothingBehind) {
  const Library library;
  EXPECT_EQ(S_OK, library.Call("DllRegisterServer"));
  EXPECT_EQ(S_OK, library.Call("DllRegisterServer"));
  EXPECT_EQ(ReadFacts("golden/registration.txt"), Registered());
  EXPECT_EQ(S_OK, library.Call("DllUnregisterServer"));
  EXPECT_EQ(S_OK, library.Call("DllUnregisterServer"));
  EXPECT_EQ("", Registered());
  HKEY classes = nullptr;
  EXPECT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CLASSES_ROOT, L"CLSID", 0, KEY_READ, &classes));
  RegCloseKey(classes);
}

}  // namespace
}  // namespace varnel::test
