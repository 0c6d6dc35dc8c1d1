#pragma once

#include <windows.h>

namespace varnel {

// Registration of the whole module: the classes in table order, then the type library. Both stop at the first
// failure and return it. Throw HResultError.
HRESULT RegisterModule();
HRESULT UnregisterModule();

}  // namespace varnel
