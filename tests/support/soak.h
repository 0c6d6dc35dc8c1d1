#pragma once

#include <cstdlib>

namespace varnel::test {

// Whether tests that have a long form shall run it: the environment variable VARNEL_SOAK is set.
inline bool Soaking() {
  return std::getenv("VARNEL_SOAK") != nullptr;
}

}  // namespace varnel::test
