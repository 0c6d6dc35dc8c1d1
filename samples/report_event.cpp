// How a security product reports events. Prints what was wrong and what to do, and returns 1, when something
// goes wrong.

#include <cstdio>
#include <varnel/varnel.hpp>

namespace {

// A name that nobody has checked: malware may be called anything.
constexpr wchar_t kSuspect[] = L"C:\\Users\\Zo\u00EB\\<setup> & \"more\".exe";

void Report(const varnel::Library& library, const varnel::Product& product) {
  const varnel::Report report(library, product);
  report.AddMachine();

  const varnel::Element detection = report.AddEvent("MalwareDetected", 1024, 3);
  detection.SetAttribute("Engine", "heuristics").SetAttribute("Confidence", 97);
  detection.AddChild("File", varnel::Text::Repaired(kSuspect)).SetAttribute("Action", "quarantined");

  const varnel::Element update = report.AddEvent("SignaturesUpdated", 2401, 1);
  update.AddChild("FromVersion", "1.402.11");
  update.AddChild("ToVersion", "1.402.12");

  report.Save();
}

}  // namespace

int main() {
  try {
    const varnel::ComScope com;
    const varnel::Library library = varnel::Library::Registered();
    // The software identifier decides where a report goes: the first is the management server's own.
    Report(library, {"ORBASRVR_3500", "ProductEvents", "Product", "Management Server", "4.2.0", "Endpoint"});
    Report(library, {"EXAMPLE__1000", "ProductEvents", "Product", "Example Antivirus", "4.2.0", "Endpoint"});
  } catch (const varnel::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
