// varnel.exe: what integrators and support ask of the library, one command for each question.

#include "command.h"
#include "console.h"
#include "text.h"

#include <windows.h>
#include <shellapi.h>

#include <exception>

namespace varnel::tool {
namespace {

// Without the program; in UTF-8 and, as the parser wants them, from the last to the first.
std::vector<std::string> Arguments() {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = count - 1; i > 0; --i) arguments.push_back(ToUtf8(words[i]));
  LocalFree(words);
  return arguments;
}

int Run() {
  CLI::App app("Asks and answers what integrators and support want to know of varnel.dll.", "varnel");
  app.require_subcommand(1);
  app.set_version_flag("--version", VARNEL_VERSION);
  Action chosen;
  AddDoctor(app, chosen);
  AddExplain(app, chosen);
  AddSend(app, chosen);
  AddShow(app, chosen);
  AddCheck(app, chosen);
  AddTrace(app, chosen);
  try {
    app.parse(Arguments());
  } catch (const CLI::CallForVersion& version) {
    Print(std::string("varnel ") + version.what() + "\n");
    return kDone;
  } catch (const CLI::Success&) {
    Print(app.get_subcommands().empty() ? app.help() : app.get_subcommands()[0]->help());
    return kDone;
  } catch (const CLI::ParseError& error) {
    PrintError(Printable(error.what()) + "; varnel --help tells what there is");
    return kFailed;
  }
  return chosen();
}

}  // namespace
}  // namespace varnel::tool

int main() {
  using namespace varnel::tool;
  try {
    return Run();
  } catch (const std::bad_alloc&) {
    PrintError("there is not enough memory");
  } catch (const std::exception& error) {
    PrintError(error.what());
  }
  return kFailed;
}
