#pragma once

#include "base/com_ptr.h"
#include "support/registry_sandbox.h"
#include "support/temp_folder.h"
#include "varnel_contract.h"

#include <windows.h>
#include <gtest/gtest.h>
#include <oleauto.h>

#include <string>

namespace varnel::test {

// The built DLL, loaded by path; nothing is registered.
class Library {
 public:
  Library() : module_(LoadLibraryW(Path().c_str())) { EXPECT_NE(nullptr, module_); }
  ~Library() { FreeLibrary(module_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  static std::wstring Path() {
    const std::string path = "Z:" VARNEL_DLL;
    return {path.begin(), path.end()};
  }

  template <class Function>
  Function Export(const char* name) const {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

  HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out) const {
    return Export<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>("DllGetClassObject")(clsid, iid, out);
  }
  HRESULT CanUnloadNow() const { return Export<HRESULT(STDAPICALLTYPE*)()>("DllCanUnloadNow")(); }

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

// Automation text; converts to BSTR for one call.
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

constexpr HRESULT kNotManaged = static_cast<HRESULT>(0xFFFFF703);
constexpr HRESULT kDisabled = static_cast<HRESULT>(0xFFFFF704);
constexpr HRESULT kNotCreated = static_cast<HRESULT>(0xFFFFFFD7);
constexpr HRESULT kRefused = static_cast<HRESULT>(0xFFFFFFC9);
constexpr DATE kNoon2024 = 45358.5;  // 7 March 2024, 12:00

inline HRESULT Initialize(IOrbaEventInf3& target, const wchar_t* softwareId = L"EXAMPLE__1000") {
  return target.Initialize(Bstr(softwareId), Bstr(L"Root"), Bstr(L"Product"), Bstr(L"Name"), Bstr(L"1.2"),
                           Bstr(L"Family"));
}

inline HRESULT AddEvent(IOrbaEventInf3& target, const wchar_t* name, long id, long severity = 1) {
  return target.CreateEventElement(Bstr(name), id, severity, kNoon2024,
                                   static_cast<IEventElement**>(nullptr));
}

// Makes a report that may be saved: the machine's facts and one event.
inline void Fill(IOrbaEventInf3& target, long severity = 1) {
  ASSERT_EQ(S_OK, target.CreateMachineElement(nullptr, nullptr, nullptr));
  ASSERT_EQ(S_OK, AddEvent(target, L"Event", 1000, severity));
}

// The text of the only file in a folder.
inline std::string OnlyFile(const std::wstring& where) {
  const auto files = FilesIn(where);
  EXPECT_EQ(1u, files.size());
  return files.size() == 1 ? ReadBytes(where + L"\\" + files[0]) : std::string();
}

// A managed agent with these folders, as HKEY_LOCAL_MACHINE stands for the calling process.
inline void SetUpAgent(const std::wstring& folder, const std::wstring& serverEvents) {
  SetMachineNumber(kFramework, L"AgentMode", 1);
  SetMachineText(kFramework, L"Data Path", folder + L"\\");
  SetMachineText(kFramework, L"IPAddress", L"192.0.2.7");
  SetMachineText(kEventParser, L"EventsPath", serverEvents);
  SetMachineNumber(kLog, L"LogLevel", 5);
}

// An agent of the process's own: registry and folders, as they are before the library is used.
class AgentTest : public testing::Test {
 protected:
  AgentTest() { SetUpAgent(folder.Path(), serverEvents); }

  RegistrySandbox registry;
  TempFolder folder;
  const std::wstring agentEvents = folder.MakeFolder(L"AgentEvents");
  const std::wstring serverEvents = folder.File(L"ServerEvents");
};

// The agent of the whole prefix, for what needs the machine's own registry or other processes. Programs that
// use it exclude each other.
class MachineAgentTest : public testing::Test {
 protected:
  MachineAgentTest() { SetUpAgent(folder.Path(), serverEvents); }
  ~MachineAgentTest() override { RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node\\Kestrane"); }

  TempFolder folder;
  const std::wstring agentEvents = folder.MakeFolder(L"AgentEvents");
  const std::wstring serverEvents = folder.File(L"ServerEvents");
};

// The library under test with a report that nothing has been done with.
class ReportTest : public AgentTest {
 protected:
  Library library;
  ComPtr<IOrbaEventInf3> report = library.CreateReport();
};

}  // namespace varnel::test
