#pragma once

#include "base/com_ptr.h"

#include <windows.h>
#include <objbase.h>

namespace varnel {

// One class that this module serves.
struct ClassEntry {
  const CLSID* clsid;
  // Makes a plain object, or one inside `outer`, and queries it; any exception may leave it.
  HRESULT (*create)(IUnknown* outer, REFIID iid, void** out);
  WORD registrationScript;  // number of the REGISTRY resource
};

// The class object of one class. The module keeps it; references that callers hold keep the library loaded.
class ClassObject final : public IClassFactory {
 public:
  // Without a caller's reference.
  [[nodiscard]] static ClassObject* Make(const ClassEntry& entry) { return new ClassObject(entry); }

  // At process detach, whatever references there may be.
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
