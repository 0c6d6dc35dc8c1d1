#include "support/import_hook.h"

#include "varnel/testing/import_table.hpp"

#include <gtest/gtest.h>

namespace varnel::test {

using varnel::testing::detail::FindImport;
using varnel::testing::detail::WriteImport;

ImportHook::ImportHook(HMODULE module, const char* function, void* replacement)
    : place_(FindImport(module, function)) {
  EXPECT_NE(nullptr, place_) << function << " is not imported";
  if (!place_) return;
  original_ = *place_;
  EXPECT_TRUE(WriteImport(place_, replacement));
}

ImportHook::~ImportHook() {
  EXPECT_TRUE(!place_ || WriteImport(place_, original_));
}

}  // namespace varnel::test
