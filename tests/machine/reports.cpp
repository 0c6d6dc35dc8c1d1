#include "machine/reports.h"

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

// The mark of a report, empty when anything of it is missing or out of place.
std::string MarkOfWhole(const std::string& bytes) {
  constexpr char kForm[] =
      "<\\?xml version=\"1.0\" encoding=\"UTF-8\"\\?><Root><MachineInfo>.*<Event Mark=\"([^\"]*)\" "
      "Size=\"([0-9]+)\">";
  const auto body = bytes.find("<Body>");
  const auto head = RegexParts(bytes.substr(0, bytes.find("<EventID>")), kForm);
  if (body == bytes.npos || head.empty()) return {};
  const std::string tail = "<Body>" + Body(std::stoul(head[2])) + "</Body></Event></Product></Root>";
  return bytes.substr(body) == tail ? head[1] : "";
}

}  // namespace

HRESULT FillMarked(IOrbaEventInf3& report, const wchar_t* softwareId, const std::wstring& mark,
                   std::size_t bodySize) {
  HRESULT result = Initialize(report, softwareId);
  if (SUCCEEDED(result)) result = report.CreateMachineElement(nullptr, nullptr, nullptr);
  ComPtr<IEventElement> event;
  if (SUCCEEDED(result)) result = AddEvent(report, 1000, event);
  if (SUCCEEDED(result)) result = event->SetAttributeString(Bstr(L"Mark"), Bstr(mark));
  if (SUCCEEDED(result)) result = event->AddElementInto(Bstr(L"Body"), Bstr(Wide(Body(bodySize))), nullptr);
  if (SUCCEEDED(result)) result = event->SetAttributeInt(Bstr(L"Size"), static_cast<long>(bodySize));
  return result;
}

Reports ReadReports(const std::initializer_list<std::wstring>& folders) {
  Reports reports;
  for (const auto& folder : folders) {
    for (const auto& file : FilesIn(folder)) {
      const std::string mark = MarkOfWhole(ReadBytes(folder + L"\\" + file));
      if (mark.empty())
        ++reports.cut;
      else
        reports.marks.insert(mark);
    }
  }
  return reports;
}

int RunWorker(char** arguments) {
  const Library library;
  std::atomic<HRESULT> worst = S_OK;
  const auto save = [&](const std::wstring& name) {
    for (int i = 0; i < std::atoi(arguments[2]) && worst == S_OK; ++i) {
      const auto report = library.CreateReport();
      HRESULT result = FillMarked(*report, i % 2 == 0 ? kServer : kAgent, name + L"-" + std::to_wstring(i),
                                  std::stoul(arguments[3]));
      if (result == S_OK) result = report->Save();
      if (result != S_OK) worst = result;
    }
  };
  std::vector<std::jthread> threads;
  for (int i = 0; i < std::atoi(arguments[1]); ++i)
    threads.emplace_back(save, Wide(arguments[0]) + L"-" + std::to_wstring(i));
  threads.clear();
  if (worst != S_OK) std::printf("%s: 0x%08lX\n", arguments[0], static_cast<unsigned long>(worst.load()));
  return worst == S_OK ? 0 : 1;
}

}  // namespace varnel::test
