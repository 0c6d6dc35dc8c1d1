// Replaces functions of the compiler's statically linked runtime, so that it leaves nothing in the process
// when the library is unloaded, and brings no code that is not needed. docs/runtime.md lists each symbol with
// its reason. Except for the functions that throw, this code also runs during the runtime's start-up, so it
// must not use the C++ runtime.

#include "runtime/compiler_runtime.h"

#if defined(__GNUC__)

#include <windows.h>
#include <cxxabi.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>

// <atomic> includes the compiler's thread layer, where it has one. Only that of the win32 thread model will
// do. The exception reserve of the others has a mutex that is made with malloc at its first use. Without
// memory, the failure to lock it is thrown, which locks it again, until the host's stack overflows.
#if defined(_GLIBCXX_HAS_GTHREADS) && !defined(GCC_GTHR_WIN32_H) && !defined(VARNEL_CHECKED)
#error \
    "varnel.dll needs the win32 thread model: x86_64-w64-mingw32-g++-win32, i686-w64-mingw32-g++-win32 or MSVC"
#endif

namespace __gnu_cxx {
void __freeres();  // frees the emergency exception pool

// Called by std::terminate. The C++ library's own handler prints the exception's type, and its demangler
// would be an eighth of this library.
__attribute__((noreturn)) void __verbose_terminate_handler();
void __verbose_terminate_handler() {
  std::abort();
}
}  // namespace __gnu_cxx

// Called by the C++ library's headers on errors. Its own definitions build messages with another string
// class, a fifth of this library.
namespace std {
void __throw_bad_alloc() {
  throw bad_alloc();
}
void __throw_bad_array_new_length() {
  throw bad_alloc();
}
void __throw_length_error(const char*) {
  throw bad_alloc();  // no memory is large enough
}
void __throw_logic_error(const char*) {
  throw exception();
}
void __throw_out_of_range_fmt(const char*, ...) {
  throw exception();
}
}  // namespace std

namespace {

template <class Function>
Function* KernelFunction(const char* name) noexcept {
  const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(kernel, name)));
}

// Remembers resources that the runtime never frees. A host that loads and unloads the library a thousand
// times would run out of them.
template <class Resource>
class Taken {
 public:
  void Remember(Resource resource) noexcept {
    const LONG index = count_++;
    if (index < kMost) resources_[index] = resource;
  }
  template <class Give>
  void GiveBack(Give* give) noexcept {
    for (LONG index = 0; index < count_ && index < kMost; ++index) give(resources_[index]);
    count_ = 0;
  }

 private:
  static constexpr LONG kMost = 16;
  std::atomic<LONG> count_{0};
  Resource resources_[kMost]{};
};

constinit Taken<DWORD> g_slots;
constinit Taken<HANDLE> g_semaphores;

DWORD WINAPI TakeSlot() {
  const DWORD slot = KernelFunction<DWORD WINAPI()>("TlsAlloc")();
  if (slot != TLS_OUT_OF_INDEXES) g_slots.Remember(slot);
  return slot;
}

// Creates the semaphores of the mutexes in libgcc. The C++ library's mutexes are replaced below.
HANDLE WINAPI MakeSemaphore(SECURITY_ATTRIBUTES* attributes, LONG count, LONG most, const wchar_t* name) {
  using Make = HANDLE WINAPI(SECURITY_ATTRIBUTES*, LONG, LONG, const wchar_t*);
  const HANDLE semaphore = KernelFunction<Make>("CreateSemaphoreW")(attributes, count, most, name);
  if (semaphore) g_semaphores.Remember(semaphore);
  return semaphore;
}

// A thread's record of exceptions, with the layout of __cxa_eh_globals in the C++ ABI. The runtime allocates
// its own on a thread's first throw and ends the process if it cannot, and lack of memory is the usual reason
// to throw.
struct ExceptionRecord {
  void* caught;
  unsigned uncaught;
};
struct SpareRecord {
  std::atomic<DWORD> thread{0};  // the thread that has it, until the library is unloaded; 0: free
  ExceptionRecord record{};
};
static_assert(sizeof(ExceptionRecord) == 2 * sizeof(void*) &&
              offsetof(ExceptionRecord, uncaught) == sizeof(void*));
constinit SpareRecord g_spareRecords[64];
constinit std::atomic<DWORD> g_recordSlot{TLS_OUT_OF_INDEXES};

extern "C" int __mingwthr_key_dtor(DWORD key, void (*destroy)(void*));  // called for a thread that ends

// Clears the slot first: the runtime may ask again while the thread exits, and must not get freed memory.
void FreeRecord(void* record) {
  TlsSetValue(g_recordSlot, nullptr);
  std::free(record);
}

DWORD RecordSlot() noexcept {
  DWORD slot = g_recordSlot;
  if (slot != TLS_OUT_OF_INDEXES) return slot;
  const DWORD made = TakeSlot();
  if (made == TLS_OUT_OF_INDEXES || !g_recordSlot.compare_exchange_strong(slot, made)) return slot;
  __mingwthr_key_dtor(made, FreeRecord);
  return made;
}

ExceptionRecord* MakeRecord(DWORD slot) noexcept {
  const DWORD thread = GetCurrentThreadId();
  for (SpareRecord& spare : g_spareRecords)
    if (spare.thread == thread) return &spare.record;
  void* const made = slot == TLS_OUT_OF_INDEXES ? nullptr : std::calloc(1, sizeof(ExceptionRecord));
  if (made && TlsSetValue(slot, made)) return static_cast<ExceptionRecord*>(made);
  std::free(made);
  for (SpareRecord& spare : g_spareRecords) {
    DWORD nobody = 0;
    if (spare.thread.compare_exchange_strong(nobody, thread)) return &spare.record;
  }
  std::abort();
}

abi::__cxa_eh_globals* RecordOfThisThread() noexcept {
  const DWORD lastError = GetLastError();
  const DWORD slot = RecordSlot();
  void* record = slot == TLS_OUT_OF_INDEXES ? nullptr : TlsGetValue(slot);
  if (!record) record = MakeRecord(slot);
  SetLastError(lastError);
  return static_cast<abi::__cxa_eh_globals*>(record);
}

}  // namespace

namespace __cxxabiv1 {
extern "C" __cxa_eh_globals* __cxa_get_globals() noexcept {
  return RecordOfThisThread();
}
extern "C" __cxa_eh_globals* __cxa_get_globals_fast() noexcept {
  return RecordOfThisThread();
}
}  // namespace __cxxabiv1

// The runtime calls Windows through import pointers. Defining these pointers replaces the functions. On x86
// their names have the decoration of stdcall.
#if defined(__i386__)

// The runtime looks for libgcc_s_dw2-1.dll in the process and, if the host has loaded it, registers our
// frames there. The unwinder that is linked into this library would not find them, and the first exception
// would end the process.
static HMODULE WINAPI FindModule(const char* name) {
  constexpr char kSharedRuntime[] = "libgcc_s_dw2-1.dll";
  if (name && lstrcmpiA(name, kSharedRuntime) == 0) return nullptr;
  return KernelFunction<HMODULE WINAPI(const char*)>("GetModuleHandleA")(name);
}

extern DWORD(WINAPI* g_tlsAllocImport)() asm("__imp__TlsAlloc@0");
extern decltype(&MakeSemaphore) g_createSemaphoreImport asm("__imp__CreateSemaphoreW@16");
extern HMODULE(WINAPI* g_getModuleHandleImport)(const char*) asm("__imp__GetModuleHandleA@4");
HMODULE(WINAPI* g_getModuleHandleImport)(const char*) = FindModule;
#else
extern DWORD(WINAPI* g_tlsAllocImport)() asm("__imp_TlsAlloc");
extern decltype(&MakeSemaphore) g_createSemaphoreImport asm("__imp_CreateSemaphoreW");
#endif
DWORD(WINAPI* g_tlsAllocImport)() = TakeSlot;
decltype(&MakeSemaphore) g_createSemaphoreImport = MakeSemaphore;

#if _GLIBCXX_RELEASE < 13
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wmissing-prototypes"  // called by the runtime only
#endif

// The mutexes of the C++ library, with the names and the layout of the win32 thread model of GCC 12. The
// original needs a semaphore for each; a slim lock fits into the place of its handle. GCC 13 and later have
// critical sections instead. Code that needs more of the thread model, such as a local static with a guard,
// does not link or brings imports that tests/golden/binary.txt does not list.
extern "C" {

struct GthreadMutex {
  long counter;
  SRWLOCK lock;
};
static_assert(sizeof(SRWLOCK) == sizeof(HANDLE) && alignof(GthreadMutex) == alignof(HANDLE),
              "the lock takes the place of a semaphore's handle");
void __gthr_win32_mutex_init_function(GthreadMutex* mutex) {
  mutex->lock = {};
}
void __gthr_win32_mutex_destroy(GthreadMutex*) {}
int __gthr_win32_mutex_lock(GthreadMutex* mutex) {
  AcquireSRWLockExclusive(&mutex->lock);
  return 0;
}
int __gthr_win32_mutex_unlock(GthreadMutex* mutex) {
  ReleaseSRWLockExclusive(&mutex->lock);
  return 0;
}
}

#else

// Replaces getenv: the C++ library of GCC 13 and later would let the host's GLIBCXX_TUNABLES choose the size
// of our exception pool.
#if defined(__i386__)
extern "C" char* NoVariable(const char*) asm("_getenv");
#else
extern "C" char* NoVariable(const char*) asm("getenv");
#endif
extern "C" char* NoVariable(const char*) {
  return nullptr;
}

#endif

namespace varnel {

void ReleaseCompilerRuntime() noexcept {
  __gnu_cxx::__freeres();
  if (g_recordSlot != TLS_OUT_OF_INDEXES) FreeRecord(TlsGetValue(g_recordSlot));
  g_slots.GiveBack(&TlsFree);
  g_semaphores.GiveBack(&CloseHandle);
}

}  // namespace varnel

#else

namespace varnel {

void ReleaseCompilerRuntime() noexcept {}

}  // namespace varnel

#endif
