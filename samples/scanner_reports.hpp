// What a product reports: the events of catalogues/scanner.toml. A value of another type than the catalogue's
// does not compile. The header is made by
//   varnel catalogue generate catalogues/scanner.toml --to catalogues/generated
//
// The library is an argument: the program passes the registered one, the tests pass that of an agent of
// theirs.
#pragma once

#include "catalogues/generated/scanner_events.hpp"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace acme {

struct Finding {
  std::filesystem::path file;
  std::wstring threat;
  scanner::Verdict action;
  std::optional<int> confidence = {};  // in percent
};
struct UnreadFile {
  std::filesystem::path file;
  unsigned long error;
};
struct Scan {
  scanner::ScanKind kind;
  std::int64_t files;
  bool isStopped = false;
  std::vector<Finding> found = {};
  std::vector<UnreadFile> unread = {};
};
struct Update {
  std::optional<std::wstring> from;
  std::wstring to;
};

// Writes event reports. A failure never ends the work of which it reports: it is only returned. Used by one
// thread.
class Reporter {
 public:
  static constexpr std::size_t kMostKept = 10;

  // The library must live longer than the reporter.
  explicit Reporter(const varnel::Library& library) : library_(library) {}

  // Return the first failure. A report that could not be written, because the disk was full or there was no
  // memory, is kept, and the next call writes it first. Of more than kMostKept reports the oldest are lost.
  HRESULT ReportScan(const Scan& scan) {
    return Write([&](const varnel::Report& report) {
      HRESULT result = S_OK;
      for (const Finding& one : scan.found) Add(report, EventOf(one), result);
      using scanner::FileNotScanned;
      for (const UnreadFile& one : scan.unread)
        Add(report, FileNotScanned(FileNotScanned::File(one.file, one.error)), result);
      Add(report, scanner::ScanFinished(scan.kind, scan.files, scan.isStopped), result);
      return result;
    });
  }
  HRESULT ReportUpdate(const Update& update) {
    return Write([&](const varnel::Report& report) {
      using scanner::SignaturesUpdated;
      SignaturesUpdated event{SignaturesUpdated::ToVersion(update.to)};
      if (update.from) event.SetFromVersion(SignaturesUpdated::FromVersion(*update.from));
      HRESULT result = S_OK;
      Add(report, event, result);
      return result;
    });
  }

 private:
  static scanner::MalwareDetected EventOf(const Finding& one) {
    using scanner::MalwareDetected;
    MalwareDetected event(one.threat, MalwareDetected::File(one.file, one.action));
    if (one.confidence) event.SetConfidence(*one.confidence);
    return event;
  }

  // Adds an event unless `result` is a failure. An event that the administrator has disabled is left out.
  static void Add(const varnel::Report& report, const varnel::Event& event, HRESULT& result) {
    if (FAILED(result)) return;
    result = event.TryAddTo(report);
    if (result == VARNEL_E_EVENT_DISABLED) result = S_OK;
  }

  template <class Fill>
  HRESULT Write(Fill fill) {
    varnel::Report report;
    HRESULT result = report.TryOpen(library_, scanner::DescribeProduct(L"4.2.0"));
    if (result == VARNEL_E_EVENT_DISABLED) return S_OK;  // the administrator has disabled all events
    if (SUCCEEDED(result)) result = report.TryAddMachine();
    if (SUCCEEDED(result)) result = fill(report);
    if (FAILED(result)) return result;
    unwritten_.push_back(std::move(report));
    if (unwritten_.size() > kMostKept) unwritten_.pop_front();
    return WriteAll();
  }
  HRESULT WriteAll() {
    HRESULT failure = S_OK;
    while (!unwritten_.empty()) {
      const HRESULT result = unwritten_.front().TrySave();
      if (result == VARNEL_E_NOT_WRITTEN || result == E_OUTOFMEMORY) return result;
      unwritten_.pop_front();
      // Without an event there is nothing to report. Any other failure would come back, as that of a report
      // which is too large.
      if (FAILED(result) && result != varnel::kNoEvent) failure = result;
    }
    return failure;
  }

  const varnel::Library& library_;
  std::deque<varnel::Report> unwritten_;  // the oldest first
};

}  // namespace acme
