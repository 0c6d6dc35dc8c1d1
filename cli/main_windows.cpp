#include "command_line.h"
#include "console/streams_windows.h"
#include "console/text.h"

#include <windows.h>
#include <shellapi.h>

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
  return varnel::tool::RunProgram(&varnel::tool::Arguments);
}
