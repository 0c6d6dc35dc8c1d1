// A client built without exceptions: a whole report from the DLL that VARNEL_DLL names. Returns 0 when
// every call did what it should.

#include <varnel/varnel.hpp>

#if defined(__cpp_exceptions)
#error "this program is for a compiler without exceptions"
#endif

int main() {
  varnel::Library library;
  varnel::Report report;
  varnel::Element event;
  varnel::Element machine;
  const bool saved =
      library.TryOpenFile(_wgetenv(L"VARNEL_DLL")) == S_OK &&
      report.TryOpen(library, {"EXAMPLE__1000", "R", "P", "", "", ""}) == S_OK &&
      report.TrySave() == varnel::kNoMachine && report.TryAddMachine() == S_OK &&
      report.TryAddEvent("E", 1, 1, std::chrono::system_clock::now(), &event) == S_OK &&
      event.TrySetAttribute("A", 1) == S_OK && event.TryAddSibling("S") == S_OK &&
      report.TryGetMachineElement(machine) == S_OK && machine.TrySetAttribute("B", ~0ull) == S_OK &&
      report.TryGetProductElement(machine) == S_OK && report.TrySave() == S_OK && report.TryClose() == S_OK;
  return saved ? 0 : 1;
}
