// One fuzzer: hands libFuzzer's bytes to the check that CMakeLists.txt names.

#include "check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  varnel::fuzz::VARNEL_CHECK({data, size});
  return 0;
}
