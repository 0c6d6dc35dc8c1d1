#include "com/com_object.h"
#include "events/orba_event_inf.h"
#include "support/registry_sandbox.h"
#include "support/text.h"

#include <gtest/gtest.h>

namespace varnel {
namespace {

// The agent's callback component, class object and object in one. It lives as long as the test.
class CallbackComponent final : public IClassFactory, public IOrbaEventInfCallback {
 public:
  HRESULT answer = S_OK;
  bool callsBack = false;
  void* registered = nullptr;
  LONG references = 0;

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid == IID_IUnknown || iid == IID_IClassFactory) *out = static_cast<IClassFactory*>(this);
    if (iid == IID_IOrbaEventInfCallback) *out = static_cast<IOrbaEventInfCallback*>(this);
    if (*out) AddRef();
    return *out ? S_OK : E_NOINTERFACE;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&references)); }
  STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(InterlockedDecrement(&references)); }

  STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** out) override { return QueryInterface(iid, out); }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

  STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }

  STDMETHODIMP RegisterOrbaEventCallBack(void* object) override {
    registered = object;
    // The framework keeps to the table of the pointer that it gets.
    if (callsBack) static_cast<IFrameworkObject*>(object)->OnFrameworkTerminate();
    return answer;
  }
};

class FrameworkNotifications : public testing::Test {
 protected:
  FrameworkNotifications() { EXPECT_EQ(S_OK, CoInitializeEx(nullptr, COINIT_MULTITHREADED)); }
  ~FrameworkNotifications() override { CoUninitialize(); }

  // Makes the component known to this process while the call runs.
  HRESULT Notify() {
    DWORD cookie = 0;
    EXPECT_EQ(S_OK, CoRegisterClassObject(CLSID_OrbaEventInfCallback, static_cast<IClassFactory*>(&component),
                                          CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie));
    const HRESULT result = object->OnFrameworkAvailable();
    EXPECT_EQ(S_OK, CoRevokeClassObject(cookie));
    return result;
  }

  test::RegistrySandbox registry;
  CallbackComponent component;
  ComPtr<StandAloneObject<COrbaEventInf>> object =
      ComPtr<StandAloneObject<COrbaEventInf>>::Adopt(new StandAloneObject<COrbaEventInf>(nullptr));
};

TEST_F(FrameworkNotifications, AnswerOfTheRegistrationDecides) {
  const auto code = [](const std::string& text) {
    return static_cast<HRESULT>(std::stoul(text, nullptr, 16));
  };
  for (const auto& row : test::Rules("notification")) {
    SCOPED_TRACE(testing::PrintToString(row));
    const bool before = row[2] == "1";
    component.answer = S_OK;
    ASSERT_EQ(S_OK, before ? Notify() : object->OnFrameworkTerminate());
    ASSERT_EQ(before, object->IsFrameworkAvailable());
    component.answer = code(row[0]);
    EXPECT_EQ(code(row[1]), Notify());
    EXPECT_EQ(row[3] == "1", object->IsFrameworkAvailable());
    EXPECT_EQ(static_cast<IConnectionPointContainer*>(object.Get()), component.registered);
    EXPECT_EQ(0, component.references);
  }
}

TEST_F(FrameworkNotifications, MissingComponentChangesNothingAndTerminationMayComeAnyTime) {
  for (const bool available : {false, true}) {
    SCOPED_TRACE(available ? "available" : "not available");
    EXPECT_EQ(REGDB_E_CLASSNOTREG, object->OnFrameworkAvailable());
    EXPECT_EQ(available, object->IsFrameworkAvailable());
    component.callsBack = true;  // while it registers the object: the success that follows wins
    EXPECT_EQ(S_OK, Notify());
    EXPECT_TRUE(object->IsFrameworkAvailable());
  }
  EXPECT_EQ(S_OK, object->OnFrameworkTerminate() | object->OnFrameworkTerminate());
  EXPECT_FALSE(object->IsFrameworkAvailable());
}

}  // namespace
}  // namespace varnel
