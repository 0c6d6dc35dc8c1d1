// varnel/testing.hpp - an agent for a product's own tests. Needs C++17 with exceptions and no test framework;
// links advapi32 besides what <varnel/varnel.hpp> needs.
//
//   varnel::testing::Agent agent(dllPath);
//   varnel::Report report(agent.Library(), product);
//   report.AddMachine();
//   report.AddEvent(L"MalwareDetected", 1024, 3).SetAttribute("Engine", "heuristics");
//   report.Save();
//   const auto files = agent.TakeReports();
//   EXPECT_EQ(files[0].events[0].Attribute("Engine"), L"heuristics");
//
// The library is the real one, and so are its results, bytes and log lines. An Agent loads a copy of it and
// redirects what this copy asks Windows for: the agent's settings, the event filter, the save mutex, the
// console and the trace viewer. No other module of the process is redirected, nothing is written to the
// registry, and no administrator is needed. docs/testing.md has more.
//
// Namespace varnel::testing hides ::testing of test frameworks inside namespace varnel and behind
// `using namespace varnel`: write ::testing there.
#pragma once

#include <varnel/varnel.hpp>

#if !defined(VARNEL_EXCEPTIONS)
#error "varnel/testing.hpp needs exceptions"
#else

#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <varnel/testing/captured_library.hpp>
#include <varnel/testing/xml_element.hpp>
#include <vector>

namespace varnel::testing {

// A managed agent with settings and folders of its own, in the temporary folder. Reports of its library, and
// their elements, are to be destroyed before it: a report that remains finds an unmanaged agent from then on.
//
// Several can live at a time, in one process (kMostAgents) and in many, also of one DLL: they share nothing.
// If a process ends without destroying its agents, the next Agent removes their folders.
//
// Threads: all calls may be made by any thread, also while others use the library.
class Agent {
 public:
  // `dll` is the full path of varnel.dll. Throws std::runtime_error, whose words say what to do, if the agent
  // cannot be set up.
  explicit Agent(const std::wstring& dll) {
    detail::CapturedLibrary::RemoveRetired();
    captured_ = std::make_unique<detail::CapturedLibrary>(dll);
    agentFolder_ = captured_->Folder().MakeFolder(L"AgentEvents");
    serverFolder_ = captured_->Folder().File(L"ServerEvents");
    captured_->ChangeSettings([&](detail::AgentSettings& settings) {
      settings.SetNumber(L"AgentMode", 1);
      settings.SetText(L"Data Path", Folder() + L'\\');
      settings.SetText(L"EventsPath", serverFolder_);
      settings.SetText(L"IPAddress", L"192.0.2.7");
    });
    library_ = varnel::Library::FromFile(captured_->Path().c_str());
  }
  ~Agent() {
    KeepUntaken();
    library_ = varnel::Library();
    detail::CapturedLibrary::Retire(std::move(captured_));
  }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  // Returns the library that sees this agent.
  const varnel::Library& Library() const noexcept { return library_; }
  // Returns the full path of the DLL that sees this agent. Code that loads the library by its path, in any
  // language, gets the same one with it as long as the Agent lives.
  const std::wstring& LibraryPath() const noexcept { return captured_->Path(); }

  // Returns the reports that have been saved since the last call, in the order of their saving, and deletes
  // their files. Waits for a save that is writing. Throws std::runtime_error and deletes nothing if a file
  // cannot be opened, or is not well-formed, which only texts and names that <varnel/varnel.hpp> refuses can
  // cause.
  std::vector<ReportFile> TakeReports() {
    std::vector<ReportFile> files;
    captured_->WhileNothingIsWritten([&] {
      const std::vector<std::wstring> paths = captured_->CreatedPaths();
      for (const std::wstring& path : paths) {
        ReportFile file;
        file.name = path.substr(path.find_last_of(L'\\') + 1);
        if (!detail::ReadBytes(path, file.bytes)) {
          const DWORD error = GetLastError();
          if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) continue;  // a failed save's
          detail::FailAgent("an event file cannot be opened", error, "Close the program that has it open.");
        }
        file.isForServer = path.compare(0, serverFolder_.size(), serverFolder_) == 0;
        detail::ParseReport(file);
        files.push_back(std::move(file));
      }
      for (const ReportFile& file : files) Keep(file);
      for (const std::wstring& path : paths) DeleteFileW(path.c_str());
      captured_->ForgetCreatedPaths();
    });
    return files;
  }
  // Copies each report from now on into a folder, which must exist: when TakeReports returns it, or when the
  // Agent is destroyed. The copies have names that no other Agent of this machine uses. `varnel catalogue
  // cover` compares them with the product's catalogue. If a copy cannot be written, TakeReports throws
  // std::runtime_error and deletes nothing.
  void KeepReports(const std::wstring& folder) { keptReports_ = folder; }

  // Returns the library's log lines since the last call, without line ends. They are not printed.
  std::vector<std::wstring> TakeLog() {
    std::vector<std::wstring> lines;
    for (const std::string& line : captured_->TakeOutput())
      lines.push_back(detail::WideOf({line.data(), line.find_last_not_of('\n') + 1}, CP_ACP, 0));
    return lines;
  }

  void SetManaged(bool managed) { SetNumber(L"AgentMode", managed ? 1 : 0); }
  // Reports must have fewer bytes than this.
  void SetSizeLimit(unsigned long bytes) { SetNumber(L"Brenn Size", bytes); }
  // Makes events of this severity and above trigger events; without a severity none.
  void SetTrigger(std::optional<long> severity) {
    constexpr long kDigits = 48;  // the library reads larger numbers as digits, from this one on
    SetNumber(L"AgPlcyEnableEventTrigger", severity ? 1 : 0);
    if (severity)
      SetNumber(L"AgPlcyEventTriggerThreshold",
                static_cast<unsigned long>(*severity < kDigits ? *severity : *severity + kDigits));
  }
  // 1 to 8: lines up to this level are logged.
  void SetLogLevel(unsigned long level) { SetNumber(L"LogLevel", level); }

  // Set or remove any setting that docs/settings.md lists.
  void SetNumber(const std::wstring& name, unsigned long number) {
    captured_->ChangeSettings([&](detail::AgentSettings& settings) { settings.SetNumber(name, number); });
  }
  void SetText(const std::wstring& name, const std::wstring& text) {
    captured_->ChangeSettings([&](detail::AgentSettings& settings) { settings.SetText(name, text); });
  }
  void RemoveSetting(const std::wstring& name) {
    captured_->ChangeSettings([&](detail::AgentSettings& settings) { settings.Remove(name); });
  }

  // Disable an event, or with 0 all of them; enable all events again.
  void DisableEvent(long id) {
    // A list that began with a minus sign would lose it, so it begins with a number that no event has.
    if (filter_.empty()) filter_ = "DisabledEvent=9999999999;";
    filter_ += std::to_string(id) + ';';
    const std::wstring path = captured_->Folder().MakeFolder(L"data") + L"\\EvtFiltr.ini";
    bool isWritten = false;
    for (int tries = 0; !isWritten; ++tries) {
      if (tries == 1000)
        detail::FailAgent("the event filter cannot be written", GetLastError(), "Make room on the disk.");
      if (tries > 0) Sleep(1);  // the library reads it on another thread
      captured_->ChangeSettings(
          [&](detail::AgentSettings&) { isWritten = detail::WriteBytes(path, filter_); });
    }
  }
  void EnableEvents() {
    filter_.clear();
    DeleteFileW(captured_->Folder().File(L"data\\EvtFiltr.ini").c_str());
  }

  // Remove both event folders, with the reports in them, and make them again. The library creates the server
  // folder when it needs it, but never the agent folder.
  void RemoveFolder() {
    detail::RemoveTree(agentFolder_);
    detail::RemoveTree(serverFolder_);
  }
  void RestoreFolder() { captured_->Folder().MakeFolder(L"AgentEvents"); }

  // Makes the fault happen at the n-th call from now, 1 for the next one, or at all of them. Replaces what
  // was set for the same fault.
  void Fail(Fault fault, unsigned atCall = kFromNowOn) {
    if (fault == Fault::kMutexHeld) captured_->HoldMutex();
    captured_->GetFaults().Arm(fault, atCall);
  }
  // Ends all faults; a save that waits for the mutex continues.
  void Recover() {
    captured_->GetFaults().DisarmAll();
    captured_->FreeMutex();
  }
  // Returns how often the fault has happened since it was set.
  unsigned Failures(Fault fault) const { return captured_->GetFaults().Happened(fault); }
  // Waits until a save waits for the mutex that Fail(Fault::kMutexHeld) holds. Returns false after a timeout.
  bool AwaitBlockedSave(unsigned long milliseconds) const { return captured_->AwaitWaiter(milliseconds); }

  // Returns the full path of the agent's folder. What is in it goes with the Agent.
  const std::wstring& Folder() const noexcept { return captured_->Folder().Path(); }

 private:
  void Keep(const ReportFile& file) {
    if (keptReports_.empty()) return;
    const std::wstring agent = Folder().substr(Folder().find_last_of(L'\\') + 1);
    const std::wstring path =
        keptReports_ + L'\\' + agent + L'-' + std::to_wstring(++kept_) + L'-' + file.name;
    if (!detail::WriteBytes(path, file.bytes))
      detail::FailAgent("the copy " + varnel::detail::Quoted(std::wstring_view(path)) + " cannot be written",
                        GetLastError(),
                        "Pass a folder that exists to KeepReports, and make room on its disk.");
  }
  void KeepUntaken() noexcept {
    if (keptReports_.empty()) return;
    try {
      TakeReports();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());  // `varnel catalogue cover` would miss the report
    }
  }

  std::unique_ptr<detail::CapturedLibrary> captured_;
  std::wstring agentFolder_, serverFolder_;
  std::wstring keptReports_;
  unsigned kept_ = 0;  // copies
  std::string filter_;
  varnel::Library library_;
};

}  // namespace varnel::testing

#endif
