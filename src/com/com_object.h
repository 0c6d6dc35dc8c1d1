#pragma once

#include "base/com_ptr.h"
#include "com/dispatch.h"
#include "com/module.h"

#include <utility>

namespace varnel {

// The two forms of a COM object. An implementation class gives
//   using DefaultInterface = ...;                      the dual interface behind IDispatch
//   static REFIID DispatchIid() noexcept;              its identifier
//   static constexpr wchar_t kProgId[] = ...;          the source of errors for late-bound callers
//   void* FindInterface(REFIID) noexcept;              no new reference; null when there is no such interface
// and leaves IUnknown and IDispatch to the forms. Reference counts are changed with interlocked operations.

// Stand-alone: counts its own references. Starts with one.
// The module reference is the first base, so it goes last: the library stays loaded until the object is
// destroyed.
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

// Aggregated: every interface of the implementation delegates its IUnknown to the outer object. This object
// is the inner unknown that the outer one holds. Starts with one reference.
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
    contained_.AddRef();  // the outer object's count: the pointer is one of its interfaces
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
    // The outer object owns this one: its pointer is borrowed.
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
