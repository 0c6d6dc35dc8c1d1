#pragma once

#include <windows.h>
#include <unknwn.h>

#include <atomic>

namespace varnel {

// The reference count of a COM object. Starts at one: the creator's reference.
class ReferenceCount {
 public:
  ULONG Increment() noexcept { return ++count_; }
  // Returns the new count. The caller destroys the object when it is 0.
  [[nodiscard]] ULONG Decrement() noexcept { return --count_; }

 private:
  std::atomic<ULONG> count_{1};
};

// Implements IUnknown over the interfaces of Base, for a class Object that derives from it and has
//   void* FindInterface(REFIID) noexcept;  the interface's pointer without a new reference, or null
// The last release deletes the object.
template <class Object, class Base>
class CountedObject : public Base {
 public:
  using Base::Base;

  // Counts through the pointer that is handed out, because an aggregated interface counts in the outer
  // object.
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = static_cast<Object*>(this)->FindInterface(iid);
    if (!*out) return E_NOINTERFACE;
    static_cast<IUnknown*>(*out)->AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return references_.Increment(); }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = references_.Decrement();
    if (left == 0) delete static_cast<Object*>(this);
    return left;
  }

 protected:
  ~CountedObject() = default;

 private:
  ReferenceCount references_;
};

}  // namespace varnel
