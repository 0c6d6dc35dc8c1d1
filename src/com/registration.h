#pragma once

#include <windows.h>

namespace varnel {

// Register and unregister the classes in the order of kClassTable, then the type library. Both stop at the
// first failure and return it, or throw it as HResultError.
HRESULT RegisterModule();
HRESULT UnregisterModule();

}  // namespace varnel
