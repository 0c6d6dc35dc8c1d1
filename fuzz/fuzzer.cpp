// A fuzzer: passes libFuzzer's bytes to the check that CMakeLists.txt names.

#include "check.h"

#ifdef VARNEL_GUARDED
namespace varnel::fuzz {
extern bool g_guarded;  // true: guards blocks of the heap (guarded_memory.cpp)
}
#endif

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
#ifdef VARNEL_GUARDED
  varnel::fuzz::g_guarded = true;
#endif
  varnel::fuzz::VARNEL_CHECK({data, size});
#ifdef VARNEL_GUARDED
  varnel::fuzz::g_guarded = false;
#endif
  return 0;
}
