#pragma once

#include "base/system_library.h"

namespace varnel {

// LoadSystemLibrary for a probe. When the thread cannot act for its process, one line at level 5 says that
// `fact`, an element of the report, stays empty, and why.
[[nodiscard]] LoadedLibrary LoadLibraryForFact(const wchar_t* name, const wchar_t* fact);

}  // namespace varnel
