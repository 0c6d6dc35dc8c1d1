// The stack guard of the product: this file defines what the compiler's -fstack-protector and the checked
// functions of the C runtime refer to.
//
// The compiler's own library for it opens a system cryptography provider while the loader lock is held, which
// loads libraries that are searched in the host's folder first. These definitions keep it out. Nothing here
// may use the runtime, or be guarded itself: it runs before anything else at load.

#if defined(__GNUC__)

#include <windows.h>
#include <cpuid.h>

#include <cstdint>

extern "C" {

extern std::uintptr_t __stack_chk_guard;
__attribute__((noreturn)) void __stack_chk_fail();
__attribute__((noreturn)) void __chk_fail();

std::uintptr_t __stack_chk_guard = 0xFF0A0D00;

// Ends the process at once, as Windows does it for its own guards: the stack can no longer be trusted.
void __stack_chk_fail() {
  constexpr unsigned kStackCookieCheckFailure = 2;
  constexpr UINT kStackBufferOverrun = 0xC0000409;
  // Elsewhere it would be an exception, dispatched over the very stack that is broken.
  if (IsProcessorFeaturePresent(PF_FASTFAIL_AVAILABLE))
    asm volatile("int $0x29" : : "c"(kStackCookieCheckFailure));
  TerminateProcess(GetCurrentProcess(), kStackBufferOverrun);
  __builtin_trap();
}

void __chk_fail() {
  __stack_chk_fail();
}
}

namespace {

// Every bit of the result depends on every bit of both.
std::uint64_t Mix(std::uint64_t state, std::uint64_t more) noexcept {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
  state = (state ^ more) * kFactor;
  state = (state ^ state >> 32) * kFactor;
  return state ^ state >> 29;
}

// Of the processor's own random numbers; 0 when it has none.
__attribute__((target("rdrnd"))) unsigned RandomNumber() noexcept {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx) || (ecx & bit_RDRND) == 0) return 0;
  unsigned number = 0;
  for (int attempts = 10; attempts > 0; --attempts)
    if (__builtin_ia32_rdrand32_step(&number)) break;
  return number;
}

// What differs from process to process: chance, time, identity, and where the system has put stack and
// library.
__attribute__((constructor(101))) void SeedStackGuard() noexcept {
  FILETIME time;
  GetSystemTimeAsFileTime(&time);
  LARGE_INTEGER counter;
  QueryPerformanceCounter(&counter);
  const std::uint64_t sources[] = {RandomNumber(),
                                   RandomNumber(),
                                   __builtin_ia32_rdtsc(),
                                   static_cast<std::uint64_t>(counter.QuadPart),
                                   time.dwLowDateTime,
                                   GetCurrentProcessId(),
                                   GetCurrentThreadId(),
                                   reinterpret_cast<std::uintptr_t>(&time),
                                   reinterpret_cast<std::uintptr_t>(&SeedStackGuard)};
  std::uint64_t seed = 0;
  for (const std::uint64_t source : sources) seed = Mix(seed, source);
  // The lowest byte stays zero: a text that runs over its end cannot write it.
  __stack_chk_guard = static_cast<std::uintptr_t>(seed) << 8;
}

}  // namespace

#endif
