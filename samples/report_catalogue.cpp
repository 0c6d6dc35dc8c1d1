// How a security product reports the events of its catalogue, and how it keeps its reporting testable: see
// scanner_reports.hpp and scanner_reports_test.cpp.

#include "scanner_reports.hpp"

#include <cstdio>

int main() {
  try {
    const varnel::ComScope com;
    const varnel::Library library = varnel::Library::Registered();
    acme::Reporter reporter(library);
    acme::Scan scan{scanner::ScanKind::kQuick, 184'223};
    // A name that nobody has checked: malware may be called anything.
    scan.found.push_back({L"C:\\Users\\Zo\u00EB\\<setup> & \"more\".exe", L"Trojan.Generic.42",
                          scanner::Verdict::kQuarantined, 97});
    if (const HRESULT result = reporter.ReportScan(scan); FAILED(result))
      throw varnel::Error("ReportScan", result);
  } catch (const varnel::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}
