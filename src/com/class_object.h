#pragma once

#include "base/counted_object.h"

#include <windows.h>
#include <objbase.h>

namespace varnel {

// A row of the table of classes that this module serves.
struct ClassEntry {
  const CLSID* clsid;
  // Creates an object and queries it for `iid`. If `outer` is not null, creates an aggregated object;
  // CLASS_E_NOAGGREGATION for an `iid` other than IUnknown. `out` is not null. May throw.
  HRESULT (*create)(IUnknown* outer, REFIID iid, void** out);
  WORD registrationScript;  // number of the REGISTRY resource
};

// The class object of one class. The module keeps it until it is unloaded; each reference that a caller holds
// locks the module.
class ClassObject final : public IClassFactory {
 public:
  // Returns a new object. Its one reference is the module's, which only Discard ends.
  [[nodiscard]] static ClassObject* Make(const ClassEntry& entry) { return new ClassObject(entry); }

  // Frees the object, whatever its reference count. For process detach only.
  void Discard() noexcept;

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
  STDMETHODIMP LockServer(BOOL lock) override;

 private:
  explicit ClassObject(const ClassEntry& entry) noexcept : entry_(entry) {}
  ~ClassObject() = default;

  const ClassEntry& entry_;
  ReferenceCount references_;
};

}  // namespace varnel
