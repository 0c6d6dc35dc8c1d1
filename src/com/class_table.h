#pragma once

#include "com/class_object.h"

#include <array>

namespace varnel {

// The classes that this module serves. Registration follows this order.
constexpr std::size_t kClassCount = 2;
extern const std::array<ClassEntry, kClassCount> kClassTable;

// Creates the class object of `clsid` on the first request, keeps it, and queries it for `iid`. Returns
// CLASS_E_CLASSNOTAVAILABLE for a class that is not in the table. `out` is not null. Any thread may call.
HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out) noexcept;

// Frees the class objects. For process detach only, when no other function of the library runs.
void ReleaseClassObjects() noexcept;

}  // namespace varnel
