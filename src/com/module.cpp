#include "com/module.h"

#include "base/com_ptr.h"
#include "base/hresult.h"

#include <algorithm>
#include <utility>

namespace varnel {
namespace {

constexpr std::size_t kLongestPath = 32'768;

constinit Module g_module;

}  // namespace

Module& Module::Instance() noexcept {
  return g_module;
}

void Module::Detach() noexcept {
  for (auto& kept : typeInfos_) {
    if (auto* const old = std::exchange(kept.info, nullptr)) old->Release();
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
    const ExclusiveLock lock(lock_);
    const auto place = std::find_if(typeInfos_.begin(), typeInfos_.end(),
                                    [&](const KeptTypeInfo& kept) { return !kept.info || kept.iid == iid; });
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
