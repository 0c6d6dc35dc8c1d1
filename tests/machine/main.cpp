// The tests that need the machine: its registry, other processes, real volumes. Started as
// "machine_tests --worker ..." it is one of the processes that these tests run.

#include "machine/reports.h"

#include <cstring>

int main(int count, char** arguments) {
  constexpr int kWorkerArguments = 6;
  if (count == kWorkerArguments && std::strcmp(arguments[1], "--worker") == 0)
    return varnel::test::RunWorker(arguments + 2);
  testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
