#include "support/captured_output.h"
#include "support/library.h"

#include <gmock/gmock.h>
#include <olectl.h>

#include <atomic>
#include <thread>

namespace varnel::test {
namespace {

class Objects : public AgentTest {
 protected:
  Library library;
  ComPtr<IOrbaEventInf3> report = library.CreateReport();
};

TEST_F(Objects, OneTableAnswersForAllDualInterfacesAndAnotherForTheContainer) {
  IUnknown* const first = report.Get();
  for (const IID& iid :
       {IID_IUnknown, IID_IDispatch, IID_IOrbaEventInf, IID_IOrbaEventInf2, IID_IOrbaEventInf3})
    EXPECT_EQ(first, Ask<IUnknown>(*first, iid).Get()) << iid.Data1;
  EXPECT_NE(static_cast<void*>(first), ContainerOf(*report).Get());
  EXPECT_EQ(first, Ask<IUnknown>(*ContainerOf(*report).Get(), IID_IUnknown).Get());
  void* none = first;
  EXPECT_EQ(E_NOINTERFACE, report->QueryInterface(IID_IEventElement, &none));
  EXPECT_EQ(nullptr, none);
  EXPECT_EQ(E_POINTER, report->QueryInterface(IID_IUnknown, nullptr));
}

TEST_F(Objects, ContainerOffersNoConnectionPoint) {
  ComPtr<IConnectionPointContainer> container = ContainerOf(*report);
  ComPtr<IConnectionPoint> point;
  EXPECT_EQ(CONNECT_E_NOCONNECTION, container->FindConnectionPoint(DIID__IOrbaEventInfEvents, point.Put()));
  EXPECT_EQ(E_POINTER, container->FindConnectionPoint(DIID__IOrbaEventInfEvents, nullptr));
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
  all.Reset();
  EXPECT_EQ(S_FALSE, library.CanUnloadNow()) << "an enumerator is still there";
  copy.Reset();
  EXPECT_EQ(S_OK, library.CanUnloadNow());
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

TEST_F(Objects, AggregatedObjectDelegatesToItsOuter) {
  report.Reset();
  for (const CLSID& clsid : {CLSID_OrbaEventInf, CLSID_EventElement}) {
    SCOPED_TRACE(clsid == CLSID_EventElement ? "an element" : "a report");
    Outer outer;
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(S_OK, library.GetClassObject(clsid, IID_IClassFactory, factory.PutVoid()));
    ComPtr<IUnknown> refused;
    EXPECT_EQ(CLASS_E_NOAGGREGATION, factory->CreateInstance(&outer, IID_IDispatch, refused.PutVoid()));
    EXPECT_EQ(E_POINTER, factory->CreateInstance(&outer, IID_IUnknown, nullptr));
    ASSERT_EQ(S_OK, factory->CreateInstance(&outer, IID_IUnknown, outer.inner.PutVoid()));
    factory.Reset();
    {
      const auto dispatch = Ask<IDispatch>(*outer.inner.Get(), IID_IDispatch);
      EXPECT_EQ(2u, outer.references);
      EXPECT_EQ(&outer, Ask<IUnknown>(*dispatch.Get(), IID_IUnknown).Get());
      EXPECT_EQ(outer.inner.Get(), Ask<IUnknown>(*outer.inner.Get(), IID_IUnknown).Get());
      UINT infos = 0;
      EXPECT_EQ(S_OK, dispatch->GetTypeInfoCount(&infos));
      EXPECT_EQ(1u, infos);
    }
    EXPECT_EQ(1u, outer.references);
    outer.inner.Reset();
    EXPECT_EQ(S_OK, library.CanUnloadNow());
  }
}

TEST_F(Objects, ModuleServesTwoClassesAndStaysLoadedWhileAnythingOfItIsHeld) {
  report.Reset();
  ComPtr<IClassFactory> factory;
  void* out = &factory;
  EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE,
            library.GetClassObject(CLSID_OrbaEventInfCallback, IID_IClassFactory, &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(E_NOINTERFACE, library.GetClassObject(CLSID_OrbaEventInf, IID_IDispatch, &out));
  EXPECT_EQ(E_POINTER, library.GetClassObject(CLSID_OrbaEventInf, IID_IClassFactory, nullptr));
  EXPECT_EQ(S_OK, library.CanUnloadNow());
  ASSERT_EQ(S_OK, library.GetClassObject(CLSID_EventElement, IID_IClassFactory, factory.PutVoid()));
  EXPECT_EQ(S_FALSE, library.CanUnloadNow());
  EXPECT_EQ(S_OK, factory->LockServer(TRUE));
  factory.Reset();
  EXPECT_EQ(S_FALSE, library.CanUnloadNow());
  ASSERT_EQ(S_OK, library.GetClassObject(CLSID_EventElement, IID_IClassFactory, factory.PutVoid()));
  EXPECT_EQ(S_OK, factory->LockServer(FALSE));
  factory.Reset();
  EXPECT_EQ(S_OK, library.CanUnloadNow());
}

// A thread that holds a reference sees the module locked, while other threads add and release references.
TEST_F(Objects, ManyThreadsGetOneClassObjectThatKeepsTheModuleLoaded) {
  report.Reset();
  std::atomic<IUnknown*> seen = nullptr;
  std::atomic<int> others = 0;
  std::atomic<int> unloadable = 0;
  const auto work = [&](int rounds) {
    for (int i = 0; i < rounds; ++i) {
      ComPtr<IUnknown> held;
      EXPECT_EQ(S_OK, library.GetClassObject(CLSID_EventElement, IID_IUnknown, held.PutVoid()));
      unloadable += library.CanUnloadNow() == S_OK;
      IUnknown* first = nullptr;
      others += !seen.compare_exchange_strong(first, held.Get()) && first != held.Get();
    }
  };
  for (const int rounds : {1, 100'000}) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work, rounds);
  }
  EXPECT_EQ(0, others);
  EXPECT_EQ(0, unloadable);
  EXPECT_EQ(S_OK, library.CanUnloadNow());
}

// How the event object's destruction slot is called: as the Microsoft compiler calls a member function.
#if defined(__i386__) && defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wattributes"  // it is meant for member functions
using Destroy = void*(__attribute__((thiscall)) *)(void*, unsigned);
#else
using Destroy = void* (*)(void*, unsigned);
#endif
using Notify = HRESULT(STDMETHODCALLTYPE*)(void*);

// As the agent's callback component sees the object: a table, one slot of it for destruction.
TEST_F(Objects, PrimaryTableHasOneSlotForDestructionBeforeTheNotifications) {
  SetNumber(kLog, L"LogLevel", 8);
  report = library.CreateReport();
  void* const object = ContainerOf(*report).Detach();
  (void)report.Detach();
  void** const table = *static_cast<void***>(object);
  const std::string lines = OutputOf([&] {
    EXPECT_EQ(S_OK, reinterpret_cast<Notify>(table[6])(object));
    EXPECT_TRUE(FAILED(reinterpret_cast<Notify>(table[7])(object))) << "nobody implements the callback class";
  });
  EXPECT_THAT(lines, testing::ContainsRegex(" OnFrameworkTerminate\n.* OnFrameworkAvailable\n"));
  EXPECT_EQ(S_FALSE, library.CanUnloadNow());
  EXPECT_EQ(object, reinterpret_cast<Destroy>(table[5])(object, 1)) << "it goes, whatever its count says";
  EXPECT_EQ(S_OK, library.CanUnloadNow());
}

HRESULT Get(IDispatch& report, DISPID id, VARIANT argument) {
  DISPPARAMS parameters{&argument, nullptr, 1, 0};
  return report.Invoke(id, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
}

TEST_F(Objects, ReferencesOfEveryKindReceiveAnElement) {
  ASSERT_EQ(S_OK, Initialize(*report));
  for (const DISPID id : {3, 8}) {
    SCOPED_TRACE(id);
    ComPtr<IDispatch> dispatch;
    EXPECT_EQ(S_OK, Get(*report.Get(), id, ByReference(VT_DISPATCH, dispatch.Put())));
    EXPECT_TRUE(dispatch);
    ComPtr<IUnknown> unknown;
    EXPECT_EQ(S_OK, Get(*report.Get(), id, ByReference(VT_UNKNOWN, unknown.Put())));
    EXPECT_TRUE(unknown);
    // Wrapped, as script procedures pass their own by-reference parameters on.
    VARIANT levels[9] = {ByReference(VT_DISPATCH, dispatch.Put())};
    for (int i = 1; i < 9; ++i) levels[i] = ByReference(VT_VARIANT, &levels[i - 1]);
    EXPECT_EQ(DISP_E_TYPEMISMATCH, Get(*report.Get(), id, levels[8])) << "nine levels";
    EXPECT_EQ(S_OK, Get(*report.Get(), id, levels[7])) << "eight levels";
    EXPECT_TRUE(dispatch);
    VARIANT variable;
    V_VT(&variable) = VT_BSTR;  // freed when the element takes its place
    V_BSTR(&variable) = SysAllocString(L"old");
    VARIANT wrapped = ByReference(VT_VARIANT, &variable);
    EXPECT_EQ(S_OK, Get(*report.Get(), id, ByReference(VT_VARIANT, &wrapped)));
    ASSERT_EQ(VT_DISPATCH, V_VT(&variable));
    EXPECT_EQ(dispatch.Get(), V_DISPATCH(&variable));
    VariantClear(&variable);
    // What cannot be freed keeps its place.
    V_VT(&variable) = VT_ARRAY | VT_I4;
    V_ARRAY(&variable) = SafeArrayCreateVector(VT_I4, 0, 1);
    SafeArrayLock(V_ARRAY(&variable));
    EXPECT_EQ(DISP_E_ARRAYISLOCKED, Get(*report.Get(), id, ByReference(VT_VARIANT, &variable)));
    EXPECT_EQ(VT_ARRAY | VT_I4, V_VT(&variable));
    SafeArrayUnlock(V_ARRAY(&variable));
    VariantClear(&variable);
  }
}

TEST_F(Objects, WrongArgumentIsRefusedBeforeTheMethodRunsAndLosesNothing) {
  ASSERT_EQ(S_OK, Initialize(*report));
  VARIANT endless;
  endless = ByReference(VT_VARIANT, &endless);
  VARIANT number;
  V_VT(&number) = VT_I4;
  VARIANT missing;
  V_VT(&missing) = VT_ERROR;
  const std::pair<VARIANT, HRESULT> rows[] = {
      {number, DISP_E_TYPEMISMATCH},
      {missing, DISP_E_PARAMNOTOPTIONAL},
      {endless, DISP_E_TYPEMISMATCH},
      {ByReference<VARIANT>(VT_VARIANT, nullptr), DISP_E_TYPEMISMATCH},
      {ByReference<IDispatch*>(VT_DISPATCH, nullptr), DISP_E_TYPEMISMATCH}};
  for (const DISPID id : {3, 8})
    for (const auto& [argument, result] : rows)
      EXPECT_EQ(result, Get(*report.Get(), id, argument)) << V_VT(&argument);
  for (DISPPARAMS hollow : {DISPPARAMS{nullptr, nullptr, 1, 0}, DISPPARAMS{&number, nullptr, 1, 1}})
    EXPECT_EQ(E_POINTER, report->Invoke(8, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &hollow, nullptr,
                                        nullptr, nullptr));
  EXPECT_EQ(DISP_E_UNKNOWNINTERFACE, report->Invoke(8, IID_IUnknown, LOCALE_NEUTRAL, DISPATCH_METHOD, nullptr,
                                                    nullptr, nullptr, nullptr));
  report.Reset();
  EXPECT_EQ(S_OK, library.CanUnloadNow());
}

TEST_F(Objects, ArgumentsMayBeNamed) {
  ASSERT_EQ(S_OK, Initialize(*report));
  ComPtr<IEventElement> machine;
  IOrbaEventInf2& typed = *report.Get();
  ASSERT_EQ(S_OK, typed.GetMachineElement(machine.Put()));
  OLECHAR method[] = L"AddElementInto", text[] = L"strValue", out[] = L"pElement", first[] = L"strName";
  LPOLESTR names[] = {method, text, out, first};
  DISPID ids[4] = {};
  ASSERT_EQ(S_OK, machine->GetIDsOfNames(IID_NULL, names, 4, LOCALE_NEUTRAL, ids));
  const Bstr value(L"v");
  ComPtr<IDispatch> made;
  VARIANT arguments[] = {{}, ByReference(VT_DISPATCH, made.Put()), {}};
  for (const int i : {0, 2}) {
    V_VT(&arguments[i]) = VT_BSTR;
    V_BSTR(&arguments[i]) = value;
  }
  DISPPARAMS parameters{arguments, ids + 1, 3, 3};
  EXPECT_EQ(S_OK, machine->Invoke(ids[0], IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters, nullptr,
                                  nullptr, nullptr));
  EXPECT_TRUE(made);
}

}  // namespace
}  // namespace varnel::test
