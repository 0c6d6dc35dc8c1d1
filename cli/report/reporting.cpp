#include "report/reporting.h"

#include "console/wide_text.h"

#include <algorithm>
#include <iterator>

namespace varnel::tool {
namespace {

void Fill(const Element& element, const ElementText& text) {
  for (const auto& [name, value] : text.attributes) element.SetAttribute(name, value);
  for (const ElementText& child : text.children) Fill(element.AddChild(child.name, child.text), child);
}

void Save(const Library& library, const ReportText& text, Unmanaged unmanaged) {
  const Report report(
      library, {text.softwareId, text.root, text.element, text.name, text.version, text.family}, unmanaged);
  report.AddMachine({text.osName, text.userName});
  for (const EventText& event : text.events)
    Fill(event.time ? report.AddEvent(event.name, event.id, event.severity, *event.time)
                    : report.AddEvent(event.name, event.id, event.severity),
         event);
  report.Save();
}

}  // namespace

HRESULT TryObject(const Library& library) {
  IOrbaEventInf3* object = nullptr;
  const HRESULT result = library.TryCreate(&object);
  if (object) object->Release();
  return result;
}

Library OpenLibrary(const std::string& dll) {
  if (!dll.empty()) return Library::FromFile(ToWide(dll).c_str());
  return Library::Registered();
}

std::vector<std::wstring> SaveReport(const Library& library, const ReportText& text, Unmanaged unmanaged,
                                     int count) {
  const EventFolder folder = FolderOf(ToWide(text.softwareId));
  const std::vector<FolderFile> before = FilesOf(folder);
  for (int i = 0; i < count; ++i) Save(library, text, unmanaged);
  return NewFiles(folder, before);
}

std::vector<std::wstring> NewFiles(const EventFolder& folder, const std::vector<FolderFile>& before) {
  const std::vector<FolderFile> after = FilesOf(folder);
  std::vector<FolderFile> fresh;
  std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(fresh));
  std::vector<std::wstring> paths;
  for (const FolderFile& file : fresh) paths.push_back(folder.path + L"\\" + file.name);
  return paths;
}

}  // namespace varnel::tool
