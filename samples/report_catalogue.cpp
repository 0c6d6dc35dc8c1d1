// How a security product reports the events of its catalogue, catalogues/antivirus.toml. A value of another
// type than the catalogue's does not compile. The header is made by
//   varnel catalogue generate catalogues/antivirus.toml --to catalogues/generated

#include "catalogues/generated/antivirus_events.hpp"

#include <cstdio>

namespace {

// A name that nobody has checked: malware may be called anything.
constexpr wchar_t kSuspect[] = L"C:\\Users\\Zo\u00EB\\<setup> & \"more\".exe";

void Report(const varnel::Library& library) {
  using antivirus::MalwareDetected;
  const varnel::Report report(library, antivirus::DescribeProduct("4.2.0"));
  report.AddMachine();

  MalwareDetected(antivirus::Engine::kHeuristics, L"Trojan.Generic.42", antivirus::Category::kTrojan,
                  L"1.402.11",
                  {MalwareDetected::File(varnel::Path(kSuspect), antivirus::Verdict::kQuarantined)})
      .SetConfidence(97)
      .AddTo(report);

  using antivirus::SignaturesUpdated;
  SignaturesUpdated(std::chrono::system_clock::now(), antivirus::UpdateSource::kInternet,
                    SignaturesUpdated::ToVersion(L"1.402.12"))
      .SetFromVersion(SignaturesUpdated::FromVersion(L"1.402.11"))
      .AddTo(report);

  report.Save();
}

}  // namespace

int main() {
  try {
    const varnel::ComScope com;
    Report(varnel::Library::Registered());
  } catch (const varnel::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
