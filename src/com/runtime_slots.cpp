#include "com/runtime_slots.h"

#if defined(__GNUC__)

#include <windows.h>

// GCC's runtime takes TLS slots (a thrown exception is enough) and never frees them, so a host that loads and
// unloads the library a thousand times would run out of them. The runtime calls TlsAlloc through the import
// pointer: defining that pointer here lets us remember the slots. TakeSlot runs inside the runtime's
// start-up, so it uses nothing of the runtime itself.

namespace __gnu_cxx {
void __freeres();  // frees the emergency exception pool
}

namespace {

constexpr LONG kMaxSlots = 16;
volatile LONG g_slotCount;
DWORD g_slots[kMaxSlots];

DWORD WINAPI TakeSlot() {
  using TlsAllocFunction = DWORD(WINAPI*)();
  const auto tlsAlloc = reinterpret_cast<TlsAllocFunction>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "TlsAlloc")));
  const DWORD slot = tlsAlloc();
  if (slot == TLS_OUT_OF_INDEXES) return slot;
  const LONG index = InterlockedIncrement(&g_slotCount) - 1;
  if (index < kMaxSlots) g_slots[index] = slot;
  return slot;
}

}  // namespace

// The import pointer's name as the runtime's objects know it; on x86 it carries the call's decoration.
#if defined(__i386__)
#define VARNEL_TLS_ALLOC_IMPORT "__imp__TlsAlloc@0"
#else
#define VARNEL_TLS_ALLOC_IMPORT "__imp_TlsAlloc"
#endif
extern DWORD(WINAPI* g_tlsAllocImport)() asm(VARNEL_TLS_ALLOC_IMPORT);
DWORD(WINAPI* g_tlsAllocImport)() = TakeSlot;

namespace varnel {

void ReleaseRuntimeSlots() noexcept {
  __gnu_cxx::__freeres();
  for (LONG index = 0; index < g_slotCount && index < kMaxSlots; ++index) TlsFree(g_slots[index]);
}

}  // namespace varnel

#else

namespace varnel {

void ReleaseRuntimeSlots() noexcept {}

}  // namespace varnel

#endif
