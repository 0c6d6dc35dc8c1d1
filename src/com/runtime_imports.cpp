// What the compiler's statically linked runtime asks of the process is answered here: it calls these
// functions through their import pointers, and defining the pointers puts our own in their place. They run
// inside the runtime's start-up, so they use nothing of the runtime itself.

#include "com/runtime_imports.h"

#if defined(__GNUC__)

#include <windows.h>

#include <atomic>

namespace __gnu_cxx {
void __freeres();  // frees the emergency exception pool
}

namespace {

HMODULE Kernel() noexcept {
  return GetModuleHandleW(L"kernel32.dll");
}

template <class Function>
Function* KernelFunction(const char* name) noexcept {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(Kernel(), name)));
}

// The runtime takes TLS slots (a thrown exception is enough) and never frees them: a host that loads and
// unloads the library a thousand times would run out of them. So they are remembered.
constexpr LONG kMaxSlots = 16;
std::atomic<LONG> g_slotCount;
DWORD g_slots[kMaxSlots];

DWORD WINAPI TakeSlot() {
  const DWORD slot = KernelFunction<DWORD WINAPI()>("TlsAlloc")();
  if (slot == TLS_OUT_OF_INDEXES) return slot;
  const LONG index = g_slotCount++;
  if (index < kMaxSlots) g_slots[index] = slot;
  return slot;
}

#if defined(__i386__)

// On x86 the runtime looks for its own shared library in the process and registers our frames with that one
// if the host has it. Our unwinder, which is linked in, would not find them, and the first exception would
// end the process.
HMODULE WINAPI FindModule(const char* name) {
  constexpr char kSharedRuntime[] = "libgcc_s_dw2-1.dll";
  if (name && lstrcmpiA(name, kSharedRuntime) == 0) return nullptr;
  return KernelFunction<HMODULE WINAPI(const char*)>("GetModuleHandleA")(name);
}

#endif

}  // namespace

// The import pointers' names as the runtime's objects know them; on x86 they carry the call's decoration.
#if defined(__i386__)
extern DWORD(WINAPI* g_tlsAllocImport)() asm("__imp__TlsAlloc@0");
extern HMODULE(WINAPI* g_getModuleHandleImport)(const char*) asm("__imp__GetModuleHandleA@4");
HMODULE(WINAPI* g_getModuleHandleImport)(const char*) = FindModule;
#else
extern DWORD(WINAPI* g_tlsAllocImport)() asm("__imp_TlsAlloc");
#endif
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
