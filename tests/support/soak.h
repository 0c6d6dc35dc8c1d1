#pragma once

#include <cstdlib>

namespace varnel::test {

// How much a test does in its short form and in its long one, which runs when the environment variable
// VARNEL_SOAK is set.
inline int Count(int shortForm, int longForm) {
  return std::getenv("VARNEL_SOAK") ? longForm : shortForm;
}

}  // namespace varnel::test
