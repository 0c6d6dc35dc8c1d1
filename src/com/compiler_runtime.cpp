// What the compiler's statically linked runtime asks of the process is answered here, so that nothing of it
// stays behind when the library is unloaded, and nothing comes along that is not needed. But for what throws,
// all of this runs inside the runtime's start-up as well, so it uses nothing of the C++ runtime itself.

#include "com/compiler_runtime.h"

#if defined(__GNUC__)

#include <windows.h>
#include <cxxabi.h>

#include <atomic>
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

// What std::terminate runs. The C++ library's own handler names the exception's type first, which takes a
// demangler that would be an eighth of this library.
__attribute__((noreturn)) void __verbose_terminate_handler();
void __verbose_terminate_handler() {
  std::abort();
}
}  // namespace __gnu_cxx

// What the C++ library's headers call when they cannot go on. Its own definitions make texts that nobody
// reads here, with strings of a kind that is otherwise not used: a fifth of this library.
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

// What the runtime takes and never gives back is remembered: a host that loads and unloads the library a
// thousand times would run out of it.
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

// Of the mutexes inside libgcc; those of the C++ library are the functions below.
HANDLE WINAPI MakeSemaphore(SECURITY_ATTRIBUTES* attributes, LONG count, LONG most, const wchar_t* name) {
  using Make = HANDLE WINAPI(SECURITY_ATTRIBUTES*, LONG, LONG, const wchar_t*);
  const HANDLE semaphore = KernelFunction<Make>("CreateSemaphoreW")(attributes, count, most, name);
  if (semaphore) g_semaphores.Remember(semaphore);
  return semaphore;
}

// What the runtime keeps of a thread's exceptions, in the form that the ABI gives it. Its own record is made
// when a thread throws for the first time, and ends the process when there is no memory for it: which is why
// the thread throws.
struct ExceptionRecord {
  void* caught;
  unsigned uncaught;
};
struct SpareRecord {
  std::atomic<DWORD> thread{0};  // whose it is, for good
  ExceptionRecord record{};
};
constinit SpareRecord g_spareRecords[64];
constinit std::atomic<DWORD> g_recordSlot{TLS_OUT_OF_INDEXES};

extern "C" int __mingwthr_key_dtor(DWORD key, void (*destroy)(void*));  // called for a thread that ends

// The slot outlives the record: whoever asks once more, at the end of the thread or of the library, gets a
// new one.
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

// The runtime calls the system through import pointers; defining them puts our functions in. On x86 their
// names carry the call's decoration.
#if defined(__i386__)

// The runtime looks for its own shared library in the process and registers our frames with that one if the
// host has it. Our unwinder, which is linked in, would not find them, and the first exception would end the
// process.
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

// The mutexes of the C++ library, under the names and with the types of the compiler's win32 thread model.
// Its own need a semaphore each; a slim lock fits into the place of its handle. Later compilers have critical
// sections there. Nothing more of that model is in use: code that asks for more, such as a local static that
// needs a guard, does not link, or brings imports that tests/golden/binary.txt does not list.
extern "C" {

struct GthreadMutex {
  long counter;
  SRWLOCK lock;
};
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

// In the place of the C runtime's getenv: the C++ library would let the host's GLIBCXX_TUNABLES choose the
// size of our exception reserve.
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
