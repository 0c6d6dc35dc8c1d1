#include "command_line.h"

#include <csignal>

int main(int count, char** words) {
  std::signal(SIGPIPE, SIG_IGN);  // Print reports a reader that has gone
  return varnel::tool::RunProgram(
      [&] { return std::vector<std::string>(words + (count > 0 ? 1 : 0), words + count); });
}
