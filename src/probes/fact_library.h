#pragma once

#include "base/system_library.h"

namespace varnel {

// Like LoadSystemLibrary, for a probe. If the impersonation cannot be stopped, logs at level 5 that `fact`,
// an element of the report, stays empty, and why.
[[nodiscard]] LoadedLibrary LoadLibraryForFact(const wchar_t* name, const wchar_t* fact);

}  // namespace varnel
