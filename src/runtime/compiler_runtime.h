#pragma once

namespace varnel {

// Frees what the statically linked C++ runtime has taken from the process: TLS slots, semaphores and the
// exception pool. Called when the library is unloaded. No exception may be thrown afterwards.
void ReleaseCompilerRuntime() noexcept;

}  // namespace varnel
