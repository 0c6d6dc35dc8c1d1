#include "com/module.h"

#include "base/com_ptr.h"
#include "base/hresult.h"
#include "base/process_identity.h"
#include "events/event_element.h"
#include "events/orba_event_inf.h"

#include <algorithm>
#include <iterator>

namespace varnel {
namespace {

constexpr std::size_t kLongestPath = 32'768;
constexpr const IID* kDualInterfaces[] = {&__uuidof(COrbaEventInf::DefaultInterface),
                                          &__uuidof(CEventElement::DefaultInterface)};

constinit Module g_module;

}  // namespace

Module& Module::Instance() noexcept {
  return g_module;
}

void Module::Detach() noexcept {
  for (auto& kept : typeInfos_) {
    if (auto* const old = kept.exchange(nullptr)) old->Release();
  }
}

std::wstring Module::Path() const {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(handle_, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) throw HResultError(HRESULT_FROM_WIN32(GetLastError()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    if (path.size() >= kLongestPath) throw HResultError(HRESULT_FROM_WIN32(ERROR_FILENAME_EXCED_RANGE));
    path.resize(path.size() * 2);
  }
}

HRESULT Module::GetTypeInfo(REFIID iid, ITypeInfo** out) noexcept {
  return Guarded([&] {
    const auto known = std::find_if(std::begin(kDualInterfaces), std::end(kDualInterfaces),
                                    [&](const IID* dual) { return *dual == iid; });
    if (known == std::end(kDualInterfaces)) return TYPE_E_ELEMENTNOTFOUND;
    auto& kept = typeInfos_[static_cast<std::size_t>(known - std::begin(kDualInterfaces))];
    if (!kept) {
      // Loading runs foreign code, so no lock is held. If several threads load, the first result is kept.
      ComPtr<ITypeInfo> loaded;
      const HRESULT result = LoadTypeInfo(iid, loaded.Put());
      if (FAILED(result)) return result;
      ITypeInfo* none = nullptr;
      if (kept.compare_exchange_strong(none, loaded.Get())) (void)loaded.Detach();
    }
    *out = kept;
    (*out)->AddRef();
    return S_OK;
  });
}

// Loads without impersonation: the impersonated user's drive letters may differ.
HRESULT Module::LoadTypeInfo(REFIID iid, ITypeInfo** out) {
  const std::wstring path = Path();
  ComPtr<ITypeLib> library;
  ProcessIdentity process;
  if (!process) return E_ACCESSDENIED;
  const HRESULT result = LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.Put());
  if (!process.Restore()) return E_ACCESSDENIED;
  return FAILED(result) ? result : library->GetTypeInfoOfGuid(iid, out);
}

}  // namespace varnel
