#pragma once

namespace varnel {

// Gives back the TLS slots and the exception pool that the statically linked C++ runtime has taken of the
// process; called when the library is unloaded.
void ReleaseRuntimeSlots() noexcept;

}  // namespace varnel
