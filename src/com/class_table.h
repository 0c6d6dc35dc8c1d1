#pragma once

#include <windows.h>
#include <comcat.h>
#include <objbase.h>

#include <array>
#include <span>

namespace varnel {

struct ComponentCategory {
  const CATID* category;
  bool required;  // else implemented
};

// One class that this module serves.
struct ClassEntry {
  const CLSID* clsid;
  // Makes a plain object, or one inside `outer`, and queries it; any exception may leave it.
  HRESULT (*create)(IUnknown* outer, REFIID iid, void** out);
  WORD registrationScript;  // number of the REGISTRY resource
  std::span<const ComponentCategory> categories;
};

constexpr std::size_t kClassCount = 2;
extern const std::array<ClassEntry, kClassCount> kClassTable;

}  // namespace varnel
