#pragma once

#include "base/com_ptr.h"
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
class StandAloneObject final : private ModuleReference, public DispatchImpl<Impl> {
 public:
  template <class... Args>
  explicit StandAloneObject(Args&&... args) : DispatchImpl<Impl>(std::forward<Args>(args)...) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = this->FindInterface(iid);
    if (!*out) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return references_.Increment(); }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = references_.Decrement();
    if (left == 0) delete this;
    return left;
  }

 private:
  ReferenceCount references_;
};

// An aggregated object. It is the inner unknown, which the outer object holds and which counts its own
// references, from one on. The interfaces of the implementation delegate IUnknown to the outer object.
template <class Impl>
class AggregatedObject final : private ModuleReference, public IUnknown {
 public:
  template <class... Args>
  explicit AggregatedObject(IUnknown* outer, Args&&... args)
      : contained_(outer, std::forward<Args>(args)...) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown) {
      *out = static_cast<IUnknown*>(this);
      AddRef();
      return S_OK;
    }
    *out = contained_.FindInterface(iid);
    if (!*out) return E_NOINTERFACE;
    contained_.AddRef();  // counts in the outer object, because the pointer is one of its interfaces
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return references_.Increment(); }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = references_.Decrement();
    if (left == 0) delete this;
    return left;
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

  ~AggregatedObject() = default;

  Contained contained_;
  ReferenceCount references_;
};

}  // namespace varnel
