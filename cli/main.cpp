// varnel.exe: answers questions of integrators and support about the library, with one command for each.

#include "command_line.h"
#include "console/console.h"
#include "console/local_memory.h"
#include "console/text.h"

#include <windows.h>
#include <shellapi.h>

#include <exception>
#include <new>

namespace varnel::tool {
namespace {

// Returns the arguments without the program's name.
std::vector<std::string> Arguments() {
  int count = 0;
  const LocalMemory<wchar_t*[]> words(CommandLineToArgvW(GetCommandLineW(), &count));
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(ToUtf8(words[static_cast<std::size_t>(i)]));
  return arguments;
}

}  // namespace
}  // namespace varnel::tool

int main() {
  using namespace varnel::tool;
  try {
    return RunCommandLine(Arguments());
  } catch (const std::bad_alloc&) {
    PrintError("there is not enough memory; end other programs and try again");
  } catch (const std::exception& error) {
    PrintError(error.what());
  }
  return kFailed;
}
