#pragma once

#include "com/class_object.h"

#include <array>

namespace varnel {

// The classes that this module serves, in the order of their registration.
constexpr std::size_t kClassCount = 2;
extern const std::array<ClassEntry, kClassCount> kClassTable;

// The class object of a class in the table, made at the first request and kept; CLASS_E_CLASSNOTAVAILABLE for
// another class. Any thread may call.
HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out) noexcept;

// Gives the kept class objects back. At process detach only: nothing else runs meanwhile.
void ReleaseClassObjects() noexcept;

}  // namespace varnel
