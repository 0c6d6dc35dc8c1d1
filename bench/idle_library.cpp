// A COM library that does nothing. Loading it shows the least cost of loading any.

#include <unknwn.h>

namespace {

class Idle final : public IClassFactory {
 public:
  STDMETHODIMP QueryInterface(REFIID, void** out) override {
    *out = this;
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 1; }
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** out) override { return QueryInterface(iid, out); }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};

Idle g_idle;

}  // namespace

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID, REFIID iid, void** out) {
  return g_idle.QueryInterface(iid, out);
}
