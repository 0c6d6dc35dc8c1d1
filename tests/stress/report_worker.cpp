// report_worker NAME THREADS REPORTS BODYSIZE NOTES
// Each thread saves that many reports, for the server and for the agent by turns, or fewer when it is sent
// home. Returns 0 when every call succeeded.

#include "base/windows_handles.h"
#include "stress/marked_report.h"

#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

namespace varnel::test {
namespace {

struct Work {
  std::wstring name;
  int threads;
  int reports;
  std::size_t bodySize;
  std::wstring notes;
};

HRESULT SaveOne(const Library& library, const Work& work, const std::wstring& mark, bool forServer) {
  const auto report = library.CreateReport();
  const HRESULT filled = FillMarked(*report, forServer ? kServer : kAgent, mark, work.bodySize);
  if (filled != S_OK) return filled;
  return report->Save();
}

// A report that was saved is noted before anything else happens, with one write of the whole line. The notes
// of each thread are a file of their own: appending from several processes is not atomic everywhere.
void SaveReports(const Library& library, const Work& work, int thread, std::atomic<bool>& failed) {
  const std::wstring name = work.name + L"-" + std::to_wstring(thread);
  const FileHandle notes(CreateFileW((work.notes + L"\\" + name).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                     nullptr, CREATE_NEW, 0, nullptr));
  const KernelHandle stop(CreateEventW(nullptr, TRUE, FALSE, kStopEvent));
  for (int i = 0; i < work.reports && WaitForSingleObject(stop.Get(), 0) == WAIT_TIMEOUT; ++i) {
    const std::wstring mark = name + L"-" + std::to_wstring(i);
    const HRESULT result = SaveOne(library, work, mark, i % 2 == 0);
    const std::string note = std::string(mark.begin(), mark.end()) + "\n";
    DWORD written = 0;
    if (result == S_OK &&
        WriteFile(notes.Get(), note.data(), static_cast<DWORD>(note.size()), &written, nullptr))
      continue;
    std::printf("%ls: 0x%08lX\n", mark.c_str(), static_cast<unsigned long>(result));
    failed = true;
    return;
  }
}

int Run(const Work& work) {
  const Library library;
  std::atomic<bool> failed = false;
  std::vector<std::jthread> threads;
  for (int i = 0; i < work.threads; ++i)
    threads.emplace_back([&, i] { SaveReports(library, work, i, failed); });
  threads.clear();
  return failed ? 1 : 0;
}

}  // namespace
}  // namespace varnel::test

int wmain(int count, wchar_t** arguments) {
  if (count != 6) return 2;
  return varnel::test::Run({arguments[1], _wtoi(arguments[2]), _wtoi(arguments[3]),
                            static_cast<std::size_t>(_wtoi(arguments[4])), arguments[5]});
}
