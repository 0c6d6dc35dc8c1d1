#pragma once

#include "base/com_ptr.h"

#include <windows.h>
#include <ocidl.h>

namespace varnel {

// An enumerator over no connection points. It keeps `owner` alive, and with it the module.
[[nodiscard]] ComPtr<IEnumConnectionPoints> EnumerateNoConnectionPoints(IUnknown* owner);

}  // namespace varnel
