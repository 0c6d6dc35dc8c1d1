// random_events SEED REPORTS EVENTS: saves that many reports of random events of a catalogue. VARNEL_DLL
// names the library.

#include "random_values.h"

#include <cstdio>
#include <cstdlib>

int main(int, char** arguments) {
  try {
    Random random(static_cast<unsigned>(std::atoi(arguments[1])));
    const varnel::Library library = varnel::Library::FromFile(_wgetenv(L"VARNEL_DLL"));
    for (int reports = std::atoi(arguments[2]); reports > 0; --reports) {
      const varnel::Report report(library, Describe(), varnel::Unmanaged::kRefuse);
      report.AddMachine();
      for (int events = std::atoi(arguments[3]); events > 0; --events)
        kEvents[random.Below(static_cast<std::uint64_t>(kEventCount))](random, report);
      report.Save();
    }
  } catch (const varnel::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
