#pragma once

namespace varnel {

// Gives back what the statically linked C++ runtime has taken of the process: TLS slots, semaphores and the
// exception pool. Called when the library is unloaded; no exception may be thrown after that.
void ReleaseCompilerRuntime() noexcept;

}  // namespace varnel
