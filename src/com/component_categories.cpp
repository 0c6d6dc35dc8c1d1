#include "com/component_categories.h"

#include "base/com_ptr.h"
#include "base/hresult.h"

#include <comcat.h>

namespace varnel {
namespace {

using Change = HRESULT (STDMETHODCALLTYPE ICatRegister::*)(REFCLSID, ULONG, CATID*);

void Apply(const CLSID& clsid, std::span<const ComponentCategory> categories, Change implemented,
           Change required) {
  if (categories.empty()) return;
  ComPtr<ICatRegister> manager;
  ThrowIfFailed(CoCreateInstance(CLSID_StdComponentCategoriesMgr, nullptr, CLSCTX_INPROC_SERVER,
                                 IID_ICatRegister, manager.PutVoid()));
  for (const auto& entry : categories) {
    CATID category = *entry.category;
    ThrowIfFailed((manager.Get()->*(entry.required ? required : implemented))(clsid, 1, &category));
  }
}

}  // namespace

void RegisterCategories(const CLSID& clsid, std::span<const ComponentCategory> categories) {
  Apply(clsid, categories, &ICatRegister::RegisterClassImplCategories,
        &ICatRegister::RegisterClassReqCategories);
}

void UnregisterCategories(const CLSID& clsid, std::span<const ComponentCategory> categories) {
  Apply(clsid, categories, &ICatRegister::UnRegisterClassImplCategories,
        &ICatRegister::UnRegisterClassReqCategories);
}

}  // namespace varnel
