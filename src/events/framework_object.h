#pragma once

#include <windows.h>
#include <ocidl.h>

namespace varnel {

// The primary vtable of an event object. The agent's callback component gets the object as a void pointer and
// calls it by slot, so the order is a contract: the methods of the container, one slot for the destructor,
// the two notifications.
//
// A virtual destructor takes one slot with MSVC and two with GCC, so an ordinary function stands in its
// place. It behaves like MSVC's deleting destructor.
struct IFrameworkObject : public IConnectionPointContainer {
  // Destroys the object and, when bit 0 of `flags` is set, frees its memory. Returns the object's address.
  // For the stand-alone form only: an aggregated object's memory belongs to its inner unknown.
  virtual void* DeletingDestructor(unsigned int flags) = 0;
  // Called when the framework terminates. Returns S_OK.
  virtual HRESULT STDMETHODCALLTYPE OnFrameworkTerminate() = 0;
  // Called when the framework becomes available: registers the object with the agent's callback component.
  // Returns the result of the registration, or of creating that component. A refusal (0xFFFFF95B) counts as
  // OnFrameworkTerminate and returns S_OK.
  virtual HRESULT STDMETHODCALLTYPE OnFrameworkAvailable() = 0;

 protected:
  ~IFrameworkObject() = default;
};

}  // namespace varnel
