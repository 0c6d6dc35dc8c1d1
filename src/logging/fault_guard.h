#pragma once

namespace varnel {

// Runs body(context) and stores what it returned in *result. False when the body touched memory that it may
// not touch; *result is then left alone. Every other exception passes through untouched. After a fault the
// body's frames are left without running destructors: it must own nothing, hold no lock, and not throw.
using GuardedBody = int (*)(void* context) noexcept;
[[nodiscard]] bool RunFaultGuarded(GuardedBody body, void* context, int* result) noexcept;

}  // namespace varnel
