#include "events/connection_points.h"

#include "base/counted_object.h"
#include "base/hresult.h"

namespace varnel {
namespace {

class EmptyEnumerator final : public CountedObject<EmptyEnumerator, IEnumConnectionPoints> {
 public:
  explicit EmptyEnumerator(IUnknown* owner) noexcept : owner_(owner) {}

  void* FindInterface(REFIID iid) noexcept {
    return iid == IID_IUnknown || iid == IID_IEnumConnectionPoints ? this : nullptr;
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
  ComPtr<IUnknown> owner_;
};

}  // namespace

ComPtr<IEnumConnectionPoints> EnumerateNoConnectionPoints(IUnknown* owner) {
  return ComPtr<IEnumConnectionPoints>::Adopt(new EmptyEnumerator(owner));
}

}  // namespace varnel
