#pragma once

#include "base/reference_count.h"
#include "com/class_table.h"

#include <windows.h>
#include <objbase.h>

namespace varnel {

// The class object of one class. The module's cache holds the first reference; only those beyond it keep the
// library loaded.
class ClassObject final : public IClassFactory {
 public:
  // With one reference. Throws std::bad_alloc.
  [[nodiscard]] static ClassObject* Make(const ClassEntry& entry) { return new ClassObject(entry); }

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
