#include "com/module.h"

#include "base/com_ptr.h"
#include "base/hresult.h"

#include <algorithm>
#include <utility>

namespace varnel {
namespace {

constexpr std::size_t kLongestPath = 32'768;

Module g_module;

}  // namespace

Module& Module::Instance() noexcept {
  return g_module;
}

void Module::Detach() noexcept {
  for (auto& object : classObjects_) {
    if (auto* const old = std::exchange(object, nullptr)) old->Release();
  }
  for (auto& cached : typeInfos_) {
    if (auto* const old = std::exchange(cached.info, nullptr)) old->Release();
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

HRESULT Module::GetClassObject(REFCLSID clsid, REFIID iid, void** out) noexcept {
  const auto found = std::find_if(kClassTable.begin(), kClassTable.end(),
                                  [&](const ClassEntry& entry) { return *entry.clsid == clsid; });
  if (found == kClassTable.end()) return CLASS_E_CLASSNOTAVAILABLE;
  ClassObject*& cached = classObjects_[static_cast<std::size_t>(found - kClassTable.begin())];
  return Guarded([&] {
    // A cached object is never replaced, so it may be used outside the lock.
    if (!InterlockedCompareExchangePointer(reinterpret_cast<void**>(&cached), nullptr, nullptr)) {
      const ExclusiveLock lock(lock_);
      if (!cached) InterlockedExchangePointer(reinterpret_cast<void**>(&cached), ClassObject::Make(*found));
    }
    return cached->QueryInterface(iid, out);
  });
}

HRESULT Module::GetTypeInfo(REFIID iid, ITypeInfo** out) noexcept {
  return Guarded([&] {
    const ExclusiveLock lock(lock_);
    const auto place = std::find_if(typeInfos_.begin(), typeInfos_.end(), [&](const CachedTypeInfo& cached) {
      return !cached.info || cached.iid == iid;
    });
    if (place == typeInfos_.end()) return TYPE_E_ELEMENTNOTFOUND;
    if (!place->info) {
      ITypeInfo* loaded = nullptr;
      const HRESULT result = LoadTypeInfo(iid, &loaded);
      if (FAILED(result)) return result;
      *place = {iid, loaded};
    }
    place->info->AddRef();
    *out = place->info;
    return S_OK;
  });
}

HRESULT Module::LoadTypeInfo(REFIID iid, ITypeInfo** out) {
  ComPtr<ITypeLib> library;
  const HRESULT result = LoadTypeLibEx(Path().c_str(), REGKIND_NONE, library.Put());
  return FAILED(result) ? result : library->GetTypeInfoOfGuid(iid, out);
}

}  // namespace varnel
