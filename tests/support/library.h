#pragma once

#include "base/com_ptr.h"
#include "support/registry_sandbox.h"
#include "support/temp_folder.h"
#include "support/text.h"
#include "varnel/varnel.h"

#include <windows.h>
#include <gtest/gtest.h>
#include <ocidl.h>
#include <oleauto.h>

#include <string>

namespace varnel::test {

// Returns a function that a loaded module exports, or null.
template <class Function>
Function* FunctionOf(HMODULE module, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// The DLL under test, loaded by its path without registration. The environment variable VARNEL_DLL names it:
// tests run with the product and with the checked library, which stops at undefined behaviour.
class Library {
 public:
  explicit Library(const std::wstring& path = Path()) {
    // A library that a host may have loaded first.
    if (const wchar_t* const first = _wgetenv(L"VARNEL_LOAD_FIRST")) {
      EXPECT_NE(nullptr, LoadLibraryW(first));
    }
    module_ = LoadLibraryW(path.c_str());
    EXPECT_NE(nullptr, module_);
  }
  ~Library() { FreeLibrary(module_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  static std::wstring Path() {
    const wchar_t* const path = _wgetenv(L"VARNEL_DLL");
    EXPECT_NE(nullptr, path) << "VARNEL_DLL names the library under test";
    return path ? path : L"";
  }

  HMODULE Module() const { return module_; }

  HRESULT Call(const char* name) const { return FunctionOf<HRESULT STDAPICALLTYPE()>(module_, name)(); }

  HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out) const {
    using Get = HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**);
    return FunctionOf<Get>(module_, "DllGetClassObject")(clsid, iid, out);
  }
  HRESULT CanUnloadNow() const { return Call("DllCanUnloadNow"); }

  template <class Interface>
  ComPtr<Interface> Create(REFCLSID clsid, REFIID iid) const {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(S_OK, GetClassObject(clsid, IID_IClassFactory, factory.PutVoid()));
    ComPtr<Interface> object;
    EXPECT_EQ(S_OK, factory->CreateInstance(nullptr, iid, object.PutVoid()));
    return object;
  }
  ComPtr<IOrbaEventInf3> CreateReport() const {
    return Create<IOrbaEventInf3>(CLSID_OrbaEventInf, IID_IOrbaEventInf3);
  }

 private:
  HMODULE module_;
};

template <class Interface>
ComPtr<Interface> Ask(IUnknown& object, REFIID iid) {
  ComPtr<Interface> answer;
  EXPECT_EQ(S_OK, object.QueryInterface(iid, answer.PutVoid()));
  return answer;
}

inline ComPtr<IConnectionPointContainer> ContainerOf(IOrbaEventInf3& report) {
  return Ask<IConnectionPointContainer>(report, IID_IConnectionPointContainer);
}

// Returns the argument that a late-bound caller passes for an [out] element.
template <class Kind>
VARIANT ByReference(VARTYPE type, Kind* place) {
  VARIANT argument;
  V_VT(&argument) = static_cast<VARTYPE>(VT_BYREF | type);
  V_BYREF(&argument) = place;
  return argument;
}

// Owner of a BSTR argument.
class Bstr {
 public:
  Bstr(const wchar_t* text) : text_(SysAllocString(text)) {}
  Bstr(const std::wstring& text) : Bstr(text.c_str()) {}
  ~Bstr() { SysFreeString(text_); }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  operator BSTR() const { return text_; }

 private:
  BSTR text_;
};

constexpr DATE kNoon2024 = 45358.5;  // 7 March 2024, 12:00
constexpr wchar_t kServer[] = L"ORBASRVR_3500";
constexpr wchar_t kAgent[] = L"EXAMPLE__1000";

inline HRESULT Initialize(IOrbaEventInf3& target, const wchar_t* softwareId = kAgent) {
  return target.Initialize(Bstr(softwareId), Bstr(L"Root"), Bstr(L"Product"), Bstr(L"Name"), Bstr(L"1.2"),
                           Bstr(L"Family"));
}

inline HRESULT AddEvent(IOrbaEventInf3& target, const wchar_t* name, long id, long severity = 1) {
  return target.CreateEventElement(Bstr(name), id, severity, kNoon2024,
                                   static_cast<IEventElement**>(nullptr));
}

// Adds an event and hands out its element.
inline HRESULT AddEvent(IOrbaEventInf3& target, long id, ComPtr<IEventElement>& event) {
  IOrbaEventInf2& typed = target;
  return typed.CreateEventElement(Bstr(L"Event"), id, 1, kNoon2024, event.Put());
}

// Adds machine facts and one event, so that the report can be saved.
inline void Fill(IOrbaEventInf3& target, long severity = 1) {
  ASSERT_EQ(S_OK, target.CreateMachineElement(nullptr, nullptr, nullptr));
  ASSERT_EQ(S_OK, AddEvent(target, L"Event", 1000, severity));
}

// Deletes the files of a folder and returns their bytes, joined. Fails the test unless there are `expected`
// files.
inline std::string TakeFiles(const std::wstring& where, std::size_t expected = 1) {
  std::string bytes;
  const auto files = FilesIn(where);
  EXPECT_EQ(expected, files.size());
  for (const auto& file : files) {
    bytes += ReadDocument(where + L"\\" + file);
    EXPECT_TRUE(DeleteFileW((where + L"\\" + file).c_str()));
  }
  return bytes;
}

// An agent with folders of its own. Its settings are below HKEY_LOCAL_MACHINE as this process sees it.
class AgentFolders : public ::testing::Test {
 protected:
  AgentFolders() { SetUpAgent(folder.Path(), serverEvents); }
  // Keeps the files that the test has left for the schema test.
  ~AgentFolders() override {
    for (const auto& where : {agentEvents, serverEvents})
      for (const auto& file : FilesIn(where)) ReadDocument(where + L"\\" + file);
  }

  static void SetUpAgent(const std::wstring& folder, const std::wstring& serverEvents) {
    SetNumber(kFramework, L"AgentMode", 1);
    SetText(kFramework, L"Data Path", folder + L"\\");
    SetText(kFramework, L"IPAddress", L"192.0.2.7");
    SetText(kEventParser, L"EventsPath", serverEvents);
    SetNumber(kLog, L"LogLevel", 5);
  }

  TempFolder folder;
  const std::wstring agentEvents = folder.MakeFolder(L"AgentEvents");
  const std::wstring serverEvents = folder.File(L"ServerEvents");
};

struct OwnRegistry {
  RegistrySandbox registry;
};
// An agent that only this process sees.
class AgentTest : private OwnRegistry, public AgentFolders {};

// An agent that all processes of the Wine prefix see.
class MachineAgentTest : public AgentFolders {
 protected:
  ~MachineAgentTest() override { RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node\\Kestrane"); }
};

}  // namespace varnel::test
