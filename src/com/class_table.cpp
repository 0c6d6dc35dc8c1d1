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
  // Only the inner unknown may be asked for, or the outer object would not control the inner one's lifetime.
  if (iid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
  *out = static_cast<IUnknown*>(new AggregatedObject<Impl>(outer, &NewElementObject));
  return S_OK;
}

// Plain pointers, released at process detach: at the end of the process nothing may be released any more.
std::atomic<ClassObject*> g_classObjects[kClassCount];
SRWLOCK g_making{};  // guards the making of a class object

}  // namespace

// Resources 102 and 103 hold scripts of classes that are not served here; nothing runs them.
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
    // A kept object is never replaced, so it may be used outside the lock.
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
