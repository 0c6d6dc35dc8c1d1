#pragma once

namespace varnel {

// Runs body(context) and stores what it returned in *result. False when the body touched memory that it may
// not touch; *result is then left alone. Every other exception passes through untouched. Frames between the
// fault and the guard are left without running destructors: the body must own nothing, take no lock that is
// not its caller's to leave behind, and not throw.
using GuardedBody = int (*)(void* context) noexcept;
[[nodiscard]] bool RunFaultGuarded(GuardedBody body, void* context, int* result) noexcept;

}  // namespace varnel
