#pragma once

namespace varnel {

// Gives back what the statically linked C++ runtime holds in the process; called when the library is
// unloaded.
void ReleaseRuntimeSlots() noexcept;

}  // namespace varnel
