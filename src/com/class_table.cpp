#include "com/class_table.h"

#include "base/hresult.h"
#include "base/locks.h"
#include "com/com_object.h"
#include "events/event_element.h"
#include "events/orba_event_inf.h"
#include "varnel/varnel.h"

#include <algorithm>
#include <atomic>

namespace varnel {
namespace {

ComPtr<CEventElement> NewElementObject() {
  return ComPtr<CEventElement>::Adopt(new StandAloneObject<CEventElement>(&NewElementObject));
}

template <class Impl>
HRESULT CreateObject(IUnknown* outer, REFIID iid, void** out) {
  if (!outer) {
    using Interface = typename Impl::DefaultInterface;
    const auto object = ComPtr<Interface>::Adopt(new StandAloneObject<Impl>(&NewElementObject));
    return object->QueryInterface(iid, out);
  }
  // Only IUnknown reaches the inner object, through which the outer object controls its lifetime.
  if (iid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
  *out = static_cast<IUnknown*>(new AggregatedObject<Impl>(outer, &NewElementObject));
  return S_OK;
}

// Plain pointers, which ReleaseClassObjects frees: a destructor would also run at process exit, when the code
// that it calls may be gone.
std::atomic<ClassObject*> g_classObjects[kClassCount];
SRWLOCK g_making{};  // held while a class object is created

}  // namespace

// Resources 102 and 103 are scripts of classes that this module does not serve. They are never run.
const std::array<ClassEntry, kClassCount> kClassTable = {{
    {&CLSID_OrbaEventInf, &CreateObject<COrbaEventInf>, 101},
    {&CLSID_EventElement, &CreateObject<CEventElement>, 104},
}};

HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out) noexcept {
  const auto found = std::find_if(kClassTable.begin(), kClassTable.end(),
                                  [&](const ClassEntry& entry) { return *entry.clsid == clsid; });
  if (found == kClassTable.end()) return CLASS_E_CLASSNOTAVAILABLE;
  std::atomic<ClassObject*>& kept = g_classObjects[found - kClassTable.begin()];
  return Guarded([&] {
    // A class object is never replaced, so it may be used without the lock.
    if (!kept) {
      const ExclusiveLock lock(g_making);
      if (!kept) kept = ClassObject::Make(*found);
    }
    return kept.load()->QueryInterface(iid, out);
  });
}

void ReleaseClassObjects() noexcept {
  for (auto& kept : g_classObjects) {
    if (ClassObject* const old = kept.exchange(nullptr)) old->Discard();
  }
}

}  // namespace varnel
