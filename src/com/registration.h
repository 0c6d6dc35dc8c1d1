#pragma once

#include <windows.h>

namespace varnel {

// Register and unregister the classes in the order of kClassTable, then the type library. Both stop at the
// first failure and return it, or throw it as HResultError; earlier steps are not undone. Unregistering what
// is not registered succeeds.
HRESULT RegisterModule();
HRESULT UnregisterModule();

}  // namespace varnel
