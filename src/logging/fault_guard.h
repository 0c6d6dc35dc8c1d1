#pragma once

namespace varnel {

// Runs body(context), stores its result in *result and returns true. Returns false, with *result unchanged,
// if the body caused an access violation, a page error, a misalignment or a guard page exception. Every other
// exception passes through. No destructor runs in the body after such a fault: the body must own nothing,
// hold no lock, and not throw.
using GuardedBody = int (*)(void* context) noexcept;
[[nodiscard]] bool RunFaultGuarded(GuardedBody body, void* context, int* result) noexcept;

}  // namespace varnel
