#include "stress/marked_report.h"

namespace varnel::test {
namespace {

template <class Text>
Text Body(std::size_t size) {
  Text body(size, 'a');
  for (std::size_t i = 0; i < size; ++i) body[i] = static_cast<typename Text::value_type>('a' + i % 26);
  return body;
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
  if (SUCCEEDED(result))
    result = event->AddElementInto(Bstr(L"Body"), Bstr(Body<std::wstring>(bodySize)), nullptr);
  if (SUCCEEDED(result)) result = event->SetAttributeInt(Bstr(L"Size"), static_cast<long>(bodySize));
  return result;
}

std::string MarkOfWhole(const std::string& bytes) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Root><MachineInfo>";
  const std::string markBegin = "<Event Mark=\"";
  const std::string sizeBegin = "\" Size=\"";
  const auto mark = bytes.find(markBegin);
  const auto size = bytes.find(sizeBegin, mark);
  if (!bytes.starts_with(head) || mark == std::string::npos || size == std::string::npos) return {};
  const auto bodySize = std::strtoul(bytes.c_str() + size + sizeBegin.size(), nullptr, 10);
  if (!bytes.ends_with("<Body>" + Body<std::string>(bodySize) + "</Body></Event></Product></Root>"))
    return {};
  const auto markText = mark + markBegin.size();
  return bytes.substr(markText, size - markText);
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

}  // namespace varnel::test
