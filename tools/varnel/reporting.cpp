#include "reporting.h"

#include "agent_folders.h"
#include "text.h"

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

std::wstring BesideThisProgram() {
  std::wstring path(32'768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"varnel.dll";
}

HRESULT TryObject(const Library& library) {
  IOrbaEventInf3* object = nullptr;
  const HRESULT result = library.TryCreate(&object);
  if (object) object->Release();
  return result;
}

Library OpenLibrary(const std::string& dll) {
  if (!dll.empty()) return Library::FromFile(ToWide(dll).c_str());
  Library registered = Library::Registered();
  if (TryObject(registered) != REGDB_E_CLASSNOTREG) return registered;
  Library beside;
  return SUCCEEDED(beside.TryOpenFile(BesideThisProgram().c_str())) ? std::move(beside)
                                                                    : std::move(registered);
}

std::vector<std::wstring> SaveReport(const Library& library, const ReportText& text, Unmanaged unmanaged,
                                     int count) {
  const EventFolder folder = FolderOf(ToWide(text.softwareId));
  const std::vector<std::wstring> before = FilesOf(folder);
  for (int i = 0; i < count; ++i) Save(library, text, unmanaged);
  const std::vector<std::wstring> after = FilesOf(folder);
  std::vector<std::wstring> fresh;
  std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(fresh));
  for (std::wstring& name : fresh) name = folder.path + L"\\" + name;
  return fresh;
}

}  // namespace varnel::tool
