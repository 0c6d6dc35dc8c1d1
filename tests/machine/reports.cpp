#include "machine/reports.h"

#include "base/handles.h"

#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

namespace varnel::test {
namespace {

std::string Body(std::size_t size) {
  std::string body(size, 'a');
  for (std::size_t i = 0; i < size; ++i) body[i] = static_cast<char>('a' + i % 26);
  return body;
}

// A report that was saved is noted before anything else happens, with one write of the whole line. The notes
// of each thread are a file of their own: appending from several processes is not atomic everywhere.
bool SaveReports(const Library& library, const std::wstring& name, int reports, std::size_t bodySize,
                 const std::wstring& notes) {
  const FileHandle file(CreateFileW((notes + L"\\" + name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    CREATE_NEW, 0, nullptr));
  const KernelHandle stop(CreateEventW(nullptr, TRUE, FALSE, kStopEvent));
  for (int i = 0; i < reports && WaitForSingleObject(stop.Get(), 0) == WAIT_TIMEOUT; ++i) {
    const std::wstring mark = name + L"-" + std::to_wstring(i);
    const auto report = library.CreateReport();
    HRESULT result = FillMarked(*report, i % 2 == 0 ? kServer : kAgent, mark, bodySize);
    if (result == S_OK) result = report->Save();
    const std::string note = Narrow(mark) + "\n";
    DWORD written = 0;
    if (result == S_OK &&
        WriteFile(file.Get(), note.data(), static_cast<DWORD>(note.size()), &written, nullptr))
      continue;
    std::printf("%ls: 0x%08lX\n", mark.c_str(), static_cast<unsigned long>(result));
    return false;
  }
  return true;
}

// The mark of a report, empty when anything of it is missing or out of place.
std::string MarkOfWhole(const std::string& bytes) {
  constexpr char kForm[] =
      "<\\?xml version=\"1.0\" encoding=\"UTF-8\"\\?><Root><MachineInfo>.*<Event Mark=\"([^\"]*)\" "
      "Size=\"([0-9]+)\">";
  const auto body = bytes.find("<Body>");
  if (body == bytes.npos) return {};
  const auto head = RegexParts(bytes.substr(0, bytes.find("<EventID>")), kForm);
  if (head.empty()) return {};
  const std::string tail = "<Body>" + Body(std::stoul(head[2])) + "</Body></Event></Product></Root>";
  return bytes.substr(body) == tail ? head[1] : "";
}

}  // namespace

HRESULT FillMarked(IOrbaEventInf3& report, const wchar_t* softwareId, const std::wstring& mark,
                   std::size_t bodySize) {
  HRESULT result = Initialize(report, softwareId);
  if (SUCCEEDED(result)) result = report.CreateMachineElement(nullptr, nullptr, nullptr);
  ComPtr<IEventElement> event;
  IOrbaEventInf2& typed = report;
  if (SUCCEEDED(result)) result = typed.CreateEventElement(Bstr(L"Event"), 1000, 1, kNoon2024, event.Put());
  if (SUCCEEDED(result)) result = event->SetAttributeString(Bstr(L"Mark"), Bstr(mark));
  if (SUCCEEDED(result)) result = event->AddElementInto(Bstr(L"Body"), Bstr(Wide(Body(bodySize))), nullptr);
  if (SUCCEEDED(result)) result = event->SetAttributeInt(Bstr(L"Size"), static_cast<long>(bodySize));
  return result;
}

Reports ReadReports(const std::initializer_list<std::wstring>& folders) {
  Reports reports;
  for (const auto& folder : folders) {
    for (const auto& file : FilesIn(folder)) {
      ++reports.files;
      const std::string mark = MarkOfWhole(ReadBytes(folder + L"\\" + file));
      if (mark.empty())
        ++reports.cut;
      else
        EXPECT_TRUE(reports.marks.insert(mark).second) << mark << " stands in two files";
    }
  }
  return reports;
}

int RunWorker(char** arguments) {
  const Library library;
  std::atomic<bool> good = true;
  std::vector<std::jthread> threads;
  for (int i = 0; i < std::atoi(arguments[1]); ++i) {
    threads.emplace_back([&, i] {
      const std::wstring name = Wide(arguments[0]) + L"-" + std::to_wstring(i);
      if (!SaveReports(library, name, std::atoi(arguments[2]), std::stoul(arguments[3]), Wide(arguments[4])))
        good = false;
    });
  }
  threads.clear();
  return good ? 0 : 1;
}

}  // namespace varnel::test
