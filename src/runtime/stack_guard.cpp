// Defines the symbols that -fstack-protector and the checked functions of the C runtime refer to.
//
// The compiler's own library opens a cryptography provider of Windows while the loader lock is held, which
// loads libraries that Windows looks for in the host's folder first. This code runs before everything else at
// load: it must not use the runtime, and must not be guarded itself. docs/runtime.md lists the symbols.

#if defined(__GNUC__)

#include <windows.h>
#include <cpuid.h>

#include <cstdint>

extern "C" {

extern std::uintptr_t __stack_chk_guard;
__attribute__((noreturn)) void __stack_chk_fail();
__attribute__((noreturn)) void __chk_fail();

std::uintptr_t __stack_chk_guard = 0xFF0A0D00;

// Ends the process at once, as Windows does for its own guards, because the stack is corrupt.
void __stack_chk_fail() {
  constexpr unsigned kStackCookieCheckFailure = 2;
  constexpr UINT kStackBufferOverrun = 0xC0000409;
  // Without the feature this would raise an exception, which would be dispatched on the corrupt stack.
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

// Mixes `more` into `state`: every bit of the result depends on every bit of both.
std::uint64_t Mix(std::uint64_t state, std::uint64_t more) noexcept {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
  state = (state ^ more) * kFactor;
  state = (state ^ state >> 32) * kFactor;
  return state ^ state >> 29;
}

// Returns a random number of the processor, or 0 if it has none.
__attribute__((target("rdrnd"))) unsigned RandomNumber() noexcept {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx) || (ecx & bit_RDRND) == 0) return 0;
  unsigned number = 0;
  for (int attempts = 10; attempts > 0; --attempts)
    if (__builtin_ia32_rdrand32_step(&number)) break;
  return number;
}

// Seeds the guard from what differs between processes: a random number, times, identifiers and the addresses
// of the stack and this library.
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
  // The lowest byte is zero, so that an overrunning text cannot write the guard's value.
  __stack_chk_guard = static_cast<std::uintptr_t>(seed) << 8;
}

}  // namespace

#endif
