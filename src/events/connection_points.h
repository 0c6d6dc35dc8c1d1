#pragma once

#include "base/com_ptr.h"

#include <windows.h>
#include <ocidl.h>

namespace varnel {

// Returns a new enumerator over an empty list. It holds a reference to `owner`, which keeps the module
// loaded.
[[nodiscard]] ComPtr<IEnumConnectionPoints> EnumerateNoConnectionPoints(IUnknown* owner);

}  // namespace varnel
