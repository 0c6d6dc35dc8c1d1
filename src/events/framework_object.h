#pragma once

#include <windows.h>
#include <ocidl.h>

namespace varnel {

// The primary table of an event object. The agent's callback component gets the object as a plain pointer and
// calls it by slot, so the order is a contract: the container's methods, one slot for destruction, the two
// notifications.
//
// A C++ virtual destructor takes one slot with one compiler and two with another; an ordinary function in its
// place takes one with both. It behaves as the Microsoft compiler's deleting destructor does.
struct IFrameworkObject : public IConnectionPointContainer {
  // Destroys the object and, when bit 0 of `flags` is set, frees its memory. Returns the object's address.
  // For the stand-alone form only: an aggregated object's memory belongs to its inner unknown.
  virtual void* DeletingDestructor(unsigned int flags) = 0;
  // The framework stops. Always S_OK.
  virtual HRESULT STDMETHODCALLTYPE OnFrameworkTerminate() = 0;
  // The framework runs: registers the object with it. Returns what the registration gave.
  virtual HRESULT STDMETHODCALLTYPE OnFrameworkAvailable() = 0;

 protected:
  ~IFrameworkObject() = default;
};

}  // namespace varnel
