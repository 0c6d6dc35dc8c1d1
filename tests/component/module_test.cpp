#include "component/library.h"

#include <winver.h>

#include <thread>
#include <vector>

namespace varnel::test {
namespace {

TEST(Module, ServesItsTwoClassesOnly) {
  const Library library;
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(S_OK, library.GetClassObject(CLSID_OrbaEventInf, IID_IClassFactory, factory.PutVoid()));
  EXPECT_EQ(S_OK, library.GetClassObject(CLSID_EventElement, IID_IUnknown, factory.PutVoid()));
  factory.Reset();
  void* out = &factory;
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE,
            library.GetClassObject(CLSID_OrbaEventInfCallback, IID_IClassFactory, &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(E_NOINTERFACE, library.GetClassObject(CLSID_OrbaEventInf, IID_IDispatch, &out));
  EXPECT_EQ(E_POINTER, library.GetClassObject(CLSID_OrbaEventInf, IID_IClassFactory, nullptr));
}

TEST(Module, StaysLoadedWhileAnythingOfItIsHeld) {
  const Library library;
  EXPECT_EQ(S_OK, library.CanUnloadNow());
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(S_OK, library.GetClassObject(CLSID_EventElement, IID_IClassFactory, factory.PutVoid()));
  EXPECT_EQ(S_FALSE, library.CanUnloadNow());
  EXPECT_EQ(S_OK, factory->LockServer(TRUE));
  auto* const object = library.Create<IEventElement>(CLSID_EventElement, IID_IEventElement).Detach();
  factory.Reset();
  EXPECT_EQ(S_FALSE, library.CanUnloadNow());
  EXPECT_EQ(0u, object->Release());
  EXPECT_EQ(S_FALSE, library.CanUnloadNow());
  ASSERT_EQ(S_OK, library.GetClassObject(CLSID_EventElement, IID_IClassFactory, factory.PutVoid()));
  EXPECT_EQ(S_OK, factory->LockServer(FALSE));
  factory.Reset();
  EXPECT_EQ(S_OK, library.CanUnloadNow());
}

TEST(Module, FirstRequestsOfManyThreadsGetOneClassObject) {
  const Library library;
  std::vector<IUnknown*> seen(8);
  std::vector<std::thread> threads;
  for (auto& place : seen) {
    threads.emplace_back([&library, &place] {
      EXPECT_EQ(S_OK,
                library.GetClassObject(CLSID_OrbaEventInf, IID_IUnknown, reinterpret_cast<void**>(&place)));
    });
  }
  for (auto& thread : threads) thread.join();
  for (auto* const object : seen) {
    EXPECT_EQ(seen[0], object);
    object->Release();
  }
  EXPECT_EQ(S_OK, library.CanUnloadNow());
}

bool KeyExists(const std::wstring& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
}

std::wstring ClassesText(const std::wstring& key, const wchar_t* value) {
  wchar_t text[1000] = L"(missing)";
  DWORD size = sizeof(text);
  RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), value, RRF_RT_REG_SZ, nullptr, text, &size);
  return text;
}

std::wstring GuidText(REFGUID guid) {
  wchar_t text[39];
  StringFromGUID2(guid, text, 39);
  return text;
}

TEST(Registration, WritesEveryKeyAndLeavesNothingBehind) {
  const Library library;
  const auto registerServer = library.Export<HRESULT(STDAPICALLTYPE*)()>("DllRegisterServer");
  const auto unregisterServer = library.Export<HRESULT(STDAPICALLTYPE*)()>("DllUnregisterServer");
  ASSERT_EQ(S_OK, registerServer());
  ASSERT_EQ(S_OK, registerServer());
  struct {
    std::wstring name;
    const CLSID& clsid;
  } const classes[] = {{L"OrbaEventInf", CLSID_OrbaEventInf}, {L"EventElement", CLSID_EventElement}};
  for (const auto& served : classes) {
    const std::wstring progId = L"Varnel." + served.name;
    const std::wstring guid = GuidText(served.clsid);
    const std::wstring key = L"CLSID\\" + guid;
    for (const std::wstring& described : {progId, progId + L".1", key})
      EXPECT_EQ(served.name + L" Class", ClassesText(described, nullptr));
    EXPECT_EQ(guid, ClassesText(progId + L"\\CLSID", nullptr));
    EXPECT_EQ(guid, ClassesText(progId + L".1\\CLSID", nullptr));
    EXPECT_EQ(progId + L".1", ClassesText(progId + L"\\CurVer", nullptr));
    EXPECT_EQ(progId + L".1", ClassesText(key + L"\\ProgID", nullptr));
    EXPECT_EQ(progId, ClassesText(key + L"\\VersionIndependentProgID", nullptr));
    EXPECT_TRUE(KeyExists(key + L"\\Programmable"));
    EXPECT_EQ(L"Free", ClassesText(key + L"\\InprocServer32", L"ThreadingModel"));
    EXPECT_NE(std::wstring::npos, ClassesText(key + L"\\InprocServer32", nullptr).find(L"varnel.dll"));
    EXPECT_EQ(GuidText(LIBID_VARNELLib), ClassesText(key + L"\\TypeLib", nullptr));
  }
  EXPECT_FALSE(KeyExists(L"Varnel.OrbaEventInf2"));
  EXPECT_FALSE(KeyExists(L"Varnel.OrbaEventInfCallback"));
  ComPtr<ITypeLib> registered;
  EXPECT_EQ(S_OK, LoadRegTypeLib(LIBID_VARNELLib, 1, 0, LOCALE_NEUTRAL, registered.Put()));
  registered.Reset();

  EXPECT_EQ(S_OK, unregisterServer());
  EXPECT_EQ(S_OK, unregisterServer());
  for (const auto& served : classes) {
    EXPECT_FALSE(KeyExists(L"Varnel." + served.name));
    EXPECT_FALSE(KeyExists(L"Varnel." + served.name + L".1"));
    EXPECT_FALSE(KeyExists(L"CLSID\\" + GuidText(served.clsid)));
  }
  EXPECT_TRUE(KeyExists(L"CLSID"));
  EXPECT_FALSE(KeyExists(L"TypeLib\\" + GuidText(LIBID_VARNELLib)));
  EXPECT_FALSE(KeyExists(L"Interface\\" + GuidText(IID_IOrbaEventInf3)));
}

TEST(Resources, CarryTheProjectsVersionAndAllFourScripts) {
  const std::wstring path = Library::Path();
  std::vector<BYTE> block(GetFileVersionInfoSizeW(path.c_str(), nullptr));
  ASSERT_FALSE(block.empty());
  ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
  void* text = nullptr;
  UINT length = 0;
  ASSERT_TRUE(VerQueryValueW(block.data(), L"\\StringFileInfo\\040904b0\\FileVersion", &text, &length));
  const std::string expected = VARNEL_VERSION;
  EXPECT_EQ(std::wstring(expected.begin(), expected.end()), static_cast<const wchar_t*>(text));
  const Library library;
  for (const WORD script : {WORD{101}, WORD{102}, WORD{103}, WORD{104}})
    EXPECT_NE(nullptr, FindResourceW(GetModuleHandleW(L"varnel.dll"), MAKEINTRESOURCEW(script), L"REGISTRY"));
}

}  // namespace
}  // namespace varnel::test
