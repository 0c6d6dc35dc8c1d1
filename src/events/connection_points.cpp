#include "events/connection_points.h"

#include "base/hresult.h"

namespace varnel {
namespace {

class EmptyEnumerator final : public IEnumConnectionPoints {
 public:
  explicit EmptyEnumerator(IUnknown* owner) noexcept : owner_(owner) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = iid == IID_IUnknown || iid == IID_IEnumConnectionPoints ? this : nullptr;
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

  STDMETHODIMP Next(ULONG count, IConnectionPoint** points, ULONG* fetched) override {
    if (!points || (!fetched && count != 1)) return E_POINTER;
    if (fetched) *fetched = 0;
    return count == 0 ? S_OK : S_FALSE;
  }
  STDMETHODIMP Skip(ULONG count) override { return count == 0 ? S_OK : S_FALSE; }
  STDMETHODIMP Reset() override { return S_OK; }
  STDMETHODIMP Clone(IEnumConnectionPoints** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    return Guarded([&] {
      *out = EnumerateNoConnectionPoints(owner_.Get()).Detach();
      return S_OK;
    });
  }

 private:
  ~EmptyEnumerator() = default;

  ComPtr<IUnknown> owner_;
  ReferenceCount references_;
};

}  // namespace

ComPtr<IEnumConnectionPoints> EnumerateNoConnectionPoints(IUnknown* owner) {
  return ComPtr<IEnumConnectionPoints>::Adopt(new EmptyEnumerator(owner));
}

}  // namespace varnel
