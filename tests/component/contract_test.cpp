#include "component/library.h"

#include <ocidl.h>
#include <olectl.h>

namespace varnel::test {
namespace {

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

// A harmless call to show that the interface is alive.
HRESULT CallSomething(IUnknown& object, const CLSID& clsid) {
  ComPtr<IOrbaEventInf3> report;
  if (clsid == CLSID_OrbaEventInf)
    return object.QueryInterface(IID_IOrbaEventInf3, report.PutVoid()) == S_OK ? report->Save()
                                                                               : E_NOINTERFACE;
  ComPtr<IEventElement> element;
  return object.QueryInterface(IID_IEventElement, element.PutVoid()) == S_OK
             ? element->AddElementInto(nullptr, nullptr, nullptr)
             : E_NOINTERFACE;
}

TEST_F(ReportTest, AggregatedObjectDelegatesToItsOuter) {
  report.Reset();
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
      EXPECT_EQ(E_FAIL, CallSomething(outer, clsid));
    }
    EXPECT_EQ(1u, outer.references);
    outer.inner.Reset();
    factory.Reset();
    EXPECT_EQ(S_OK, library.CanUnloadNow());
  }
}

}  // namespace
}  // namespace varnel::test
