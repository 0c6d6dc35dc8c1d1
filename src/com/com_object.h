#pragma once

#include "base/counted_object.h"
#include "com/dispatch.h"
#include "com/module.h"

#include <utility>

namespace varnel {

// The two forms of a COM object, which implement IUnknown and IDispatch over an implementation class with
//   using DefaultInterface = ...;                      the dual interface behind IDispatch
//   static constexpr wchar_t kProgId[] = ...;          the source of errors for late-bound callers
//   void* FindInterface(REFIID) noexcept;              the interface's pointer without a new reference, or
//   null
// Reference counts are changed with interlocked operations.

// A stand-alone object, which counts its own references. Starts with one.
// ModuleReference is the first base class and so the last one destroyed: the module stays locked until then.
template <class Impl>
class StandAloneObject final : private ModuleReference,
                               public CountedObject<StandAloneObject<Impl>, DispatchImpl<Impl>> {
 public:
  using CountedObject<StandAloneObject<Impl>, DispatchImpl<Impl>>::CountedObject;
};

// An aggregated object. It is the inner unknown, which the outer object holds and which counts its own
// references, from one on. The interfaces of the implementation delegate IUnknown to the outer object.
template <class Impl>
class AggregatedObject final : private ModuleReference,
                               public CountedObject<AggregatedObject<Impl>, IUnknown> {
 public:
  template <class... Args>
  explicit AggregatedObject(IUnknown* outer, Args&&... args)
      : contained_(outer, std::forward<Args>(args)...) {}

  void* FindInterface(REFIID iid) noexcept {
    if (iid == IID_IUnknown) return static_cast<IUnknown*>(this);
    return contained_.FindInterface(iid);
  }

 private:
  class Contained final : public DispatchImpl<Impl> {
   public:
    // Borrows `outer`, which owns this object.
    template <class... Args>
    explicit Contained(IUnknown* outer, Args&&... args)
        : DispatchImpl<Impl>(std::forward<Args>(args)...), outer_(outer) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override { return outer_->QueryInterface(iid, out); }
    STDMETHODIMP_(ULONG) AddRef() override { return outer_->AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return outer_->Release(); }

   private:
    IUnknown* outer_;
  };

  Contained contained_;
};

}  // namespace varnel
