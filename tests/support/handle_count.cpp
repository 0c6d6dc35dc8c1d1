#include "support/handle_count.h"

#include <windows.h>
#include <gtest/gtest.h>

namespace varnel::test {

int CountHandles() {
  constexpr ULONG_PTR kMostHandles = 150;
  int handles = 0;
  DWORD flags = 0;
  for (ULONG_PTR value = 4; value <= 4 * kMostHandles; value += 4)
    handles += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) ? 1 : 0;
  EXPECT_LT(0, handles);
  EXPECT_LT(handles, static_cast<int>(kMostHandles)) << "there may be more";
  return handles;
}

}  // namespace varnel::test
