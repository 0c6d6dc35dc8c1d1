#include "component/library.h"

#include <gmock/gmock.h>
#include <ocidl.h>
#include <olectl.h>

namespace varnel::test {
namespace {

// What a foreign caller sees of an object: a pointer to a table of functions.
template <class Function>
Function Slot(void* object, std::size_t index) {
  return reinterpret_cast<Function>((*static_cast<void***>(object))[index]);
}

// How the event object's destruction slot is called: as the Microsoft compiler calls a member function.
#if defined(__i386__) && defined(__GNUC__)
using Destroy = void*(__attribute__((thiscall)) *)(void*, unsigned);
#else
using Destroy = void* (*)(void*, unsigned);
#endif
using Method = HRESULT(STDMETHODCALLTYPE*)(void*);

TEST_F(ReportTest, OneTableAnswersForAllDualInterfacesAndAnotherForTheContainer) {
  IUnknown* const first = report.Get();
  for (const IID& iid :
       {IID_IUnknown, IID_IDispatch, IID_IOrbaEventInf, IID_IOrbaEventInf2, IID_IOrbaEventInf3}) {
    ComPtr<IUnknown> other;
    ASSERT_EQ(S_OK, report->QueryInterface(iid, other.PutVoid()));
    EXPECT_EQ(first, other.Get());
  }
  ComPtr<IConnectionPointContainer> container;
  ASSERT_EQ(S_OK, report->QueryInterface(IID_IConnectionPointContainer, container.PutVoid()));
  EXPECT_NE(static_cast<void*>(first), container.Get());
  ComPtr<IUnknown> identity;
  ASSERT_EQ(S_OK, container->QueryInterface(IID_IUnknown, identity.PutVoid()));
  EXPECT_EQ(first, identity.Get());
  void* none = report.Get();
  EXPECT_EQ(E_NOINTERFACE, report->QueryInterface(IID_IEventElement, &none));
  EXPECT_EQ(nullptr, none);
  EXPECT_EQ(E_POINTER, report->QueryInterface(IID_IUnknown, nullptr));
}

TEST_F(ReportTest, PrimaryTableHasOneSlotForDestructionBeforeTheNotifications) {
  ComPtr<IConnectionPointContainer> container;
  ASSERT_EQ(S_OK, report->QueryInterface(IID_IConnectionPointContainer, container.PutVoid()));
  void* const object = container.Get();
  EXPECT_EQ(S_OK, Slot<Method>(object, 6)(object));
  EXPECT_EQ(S_OK, Slot<Method>(object, 6)(object));
  // Nobody implements the callback class here.
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  EXPECT_TRUE(FAILED(Slot<Method>(object, 7)(object)));
  CoUninitialize();
  // The destruction slot frees the object whatever its count says; nobody touches the pointers afterwards.
  EXPECT_EQ(S_FALSE, library.CanUnloadNow());
  (void)container.Detach();
  (void)report.Detach();
  EXPECT_EQ(object, Slot<Destroy>(object, 5)(object, 1));
  EXPECT_EQ(S_OK, library.CanUnloadNow());
}

TEST_F(ReportTest, ContainerOffersNoConnectionPoint) {
  ComPtr<IConnectionPointContainer> container;
  ASSERT_EQ(S_OK, report->QueryInterface(IID_IConnectionPointContainer, container.PutVoid()));
  ComPtr<IConnectionPoint> point;
  EXPECT_EQ(CONNECT_E_NOCONNECTION, container->FindConnectionPoint(DIID__IOrbaEventInfEvents, point.Put()));
  EXPECT_EQ(E_POINTER, container->EnumConnectionPoints(nullptr));
  ComPtr<IEnumConnectionPoints> all;
  ASSERT_EQ(S_OK, container->EnumConnectionPoints(all.Put()));
  ULONG fetched = 7;
  EXPECT_EQ(S_FALSE, all->Next(1, point.Put(), &fetched));
  EXPECT_EQ(0u, fetched);
  ComPtr<IEnumConnectionPoints> copy;
  EXPECT_EQ(S_OK, all->Clone(copy.Put()));
  EXPECT_EQ(S_FALSE, copy->Skip(1));
  container.Reset();
  report.Reset();
  EXPECT_EQ(S_FALSE, library.CanUnloadNow());  // the enumerators are still there
}

HRESULT InvokeMethod(IDispatch* object, DISPID id, std::initializer_list<VARIANT> reversedArguments) {
  std::vector<VARIANT> arguments(reversedArguments);
  DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
  EXCEPINFO exception{};
  const HRESULT result = object->Invoke(id, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters, nullptr,
                                        &exception, nullptr);
  return result == DISP_E_EXCEPTION ? exception.scode : result;
}

VARIANT TextArgument(BSTR text) {
  VARIANT argument;
  V_VT(&argument) = VT_BSTR;
  V_BSTR(&argument) = text;
  return argument;
}

VARIANT NumberArgument(LONG number) {
  VARIANT argument;
  V_VT(&argument) = VT_I4;
  V_I4(&argument) = number;
  return argument;
}

TEST_F(ReportTest, LateBoundCallersReachElementsByDispid) {
  ASSERT_EQ(S_OK, Initialize(*report));
  ComPtr<IEventElement> event;
  ASSERT_EQ(S_OK, static_cast<IOrbaEventInf2*>(report.Get())
                      ->CreateEventElement(Bstr(L"E"), 1, 1, kNoon2024, event.Put()));
  const Bstr name(L"A");
  const Bstr value(L"v");
  EXPECT_EQ(S_OK, InvokeMethod(event.Get(), 5, {TextArgument(value), TextArgument(name)}));
  EXPECT_EQ(S_OK, InvokeMethod(event.Get(), 6, {NumberArgument(3), TextArgument(name)}));
  EXPECT_EQ(DISP_E_MEMBERNOTFOUND, InvokeMethod(event.Get(), 7, {}));
  IDispatch* made = nullptr;
  VARIANT out;
  V_VT(&out) = VT_BYREF | VT_DISPATCH;
  V_DISPATCHREF(&out) = &made;
  EXPECT_EQ(S_OK, InvokeMethod(event.Get(), 9, {out, TextArgument(value), TextArgument(name)}));
  ASSERT_NE(nullptr, made);
  EXPECT_EQ(S_OK, InvokeMethod(made, 5, {TextArgument(value), TextArgument(name)}));
  made->Release();
  ASSERT_EQ(S_OK, report->SaveAgentEventOnly(Bstr(L"ORBAAGENT"), Bstr(L"xml")));
  EXPECT_THAT(OnlyFile(agentEvents), testing::HasSubstr("<E A=\"v3\">"));
  EXPECT_THAT(OnlyFile(agentEvents), testing::HasSubstr("<A A=\"v\">v</A></E>"));
}

TEST_F(ReportTest, FailureOfALateBoundCallKeepsItsCode) {
  EXPECT_EQ(E_FAIL, InvokeMethod(report.Get(), 6, {}));
  OLECHAR name[] = L"SaveAgentEventOnly";
  LPOLESTR names = name;
  DISPID id = 0;
  EXPECT_EQ(S_OK, report->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_NEUTRAL, &id));
  EXPECT_EQ(11, id);
}

TEST_F(ReportTest, ElementFromTheClassFactoryIsNotAttached) {
  const auto element = library.Create<IEventElement>(CLSID_EventElement, IID_IEventElement);
  EXPECT_EQ(S_OK, element->SetAttributeString(Bstr(L"A"), Bstr(L"x")));
  EXPECT_EQ(S_OK, element->SetAttributeInt(Bstr(L"A"), 1));
  EXPECT_EQ(E_FAIL, element->AppendElement(Bstr(L"A"), Bstr(L"x"), nullptr));
  EXPECT_EQ(E_FAIL, element->AddElementInto(Bstr(L"A"), Bstr(L"x"), nullptr));
}

// An outer object that owns an aggregated one and adds nothing of its own.
class Outer final : public IUnknown {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (iid != IID_IUnknown) return inner->QueryInterface(iid, out);
    *out = this;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
  STDMETHODIMP_(ULONG) Release() override { return --references; }

  ComPtr<IUnknown> inner;
  ULONG references = 1;
};

TEST_F(ReportTest, AggregatedObjectDelegatesToItsOuter) {
  for (const CLSID& clsid : {CLSID_OrbaEventInf, CLSID_EventElement}) {
    Outer outer;
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(S_OK, library.GetClassObject(clsid, IID_IClassFactory, factory.PutVoid()));
    ComPtr<IUnknown> refused;
    EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(&outer, IID_IDispatch, refused.PutVoid()));
    ASSERT_EQ(S_OK, factory->CreateInstance(&outer, IID_IUnknown, outer.inner.PutVoid()));
    {
      ComPtr<IDispatch> dispatch;
      ASSERT_EQ(S_OK, outer.inner->QueryInterface(IID_IDispatch, dispatch.PutVoid()));
      EXPECT_EQ(2u, outer.references);
      ComPtr<IUnknown> identity;
      EXPECT_EQ(S_OK, dispatch->QueryInterface(IID_IUnknown, identity.PutVoid()));
      EXPECT_EQ(&outer, identity.Get());
    }
    EXPECT_EQ(1u, outer.references);
  }
}

}  // namespace
}  // namespace varnel::test
