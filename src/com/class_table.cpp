#include "com/class_table.h"

#include "com/com_object.h"
#include "events/event_element.h"
#include "events/orba_event_inf.h"
#include "varnel_contract.h"

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

}  // namespace

// Resources 102 and 103 hold scripts of classes that are not served here; nothing runs them.
const std::array<ClassEntry, kClassCount> kClassTable = {{
    {&CLSID_OrbaEventInf, &CreateObject<COrbaEventInf>, 101, {}},
    {&CLSID_EventElement, &CreateObject<CEventElement>, 104, {}},
}};

}  // namespace varnel
