#include "bare_calls.h"

#include "base/handles.h"

#include <objbase.h>

#include <memory>

namespace varnel::bench {
namespace {

constexpr wchar_t kKestrane[] = L"SOFTWARE\\Wow6432Node\\Kestrane";
constexpr wchar_t kFramework[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\QRN\\Shared Components\\Framework";
constexpr wchar_t kEventParser[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon\\EventParser";
constexpr wchar_t kLog[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon";

void SetText(const wchar_t* key, const wchar_t* name, const std::wstring& text) {
  RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_SZ, text.c_str(),
                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}
void SetNumber(const wchar_t* key, const wchar_t* name, DWORD number) {
  RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_DWORD, &number, sizeof(number));
}

template <class... Names>
void Query(const wchar_t* path, Names... names) {
  HKEY key = nullptr;
  RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key);
  BYTE value[520];
  DWORD size = 0;
  ((size = sizeof(value), RegQueryValueExW(key, names, nullptr, nullptr, value, &size)), ...);
  RegCloseKey(key);
}

struct Bytes {
  explicit Bytes(const std::wstring& text)
      : size(WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr)),
        bytes(std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(size))) {
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, bytes.get(), size, nullptr, nullptr);
  }
  void WriteTo(const FileHandle& file) const {
    DWORD written = 0;
    WriteFile(file.Get(), bytes.get(), static_cast<DWORD>(size - 1), &written, nullptr);
  }

  int size;  // including the terminator
  std::unique_ptr<char[]> bytes;
};

FileHandle Create(const std::wstring& path, DWORD disposition) {
  return FileHandle(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, disposition,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
}

std::wstring NewPath(const std::wstring& folder) {
  GUID guid{};
  CoCreateGuid(&guid);
  wchar_t name[50];
  StringFromGUID2(guid, name, 50);
  return folder + L"\\" + name + L".xml";
}

}  // namespace

Agent::Agent() {
  wchar_t temp[MAX_PATH];
  GetTempPathW(MAX_PATH, temp);
  root_ = std::wstring(temp) + L"bench" + std::to_wstring(GetCurrentProcessId());
  agentEvents = root_ + L"\\AgentEvents";
  serverEvents = root_ + L"\\ServerEvents";
  for (const auto& folder : {root_, root_ + L"\\data", agentEvents, serverEvents})
    CreateDirectoryW(folder.c_str(), nullptr);
  const std::wstring file = root_ + L"\\data\\EvtFiltr.ini";
  for (const wchar_t unit : file) filterFile += static_cast<char>(unit);
  const FileHandle filter(
      CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  WriteFile(filter.Get(), "DisabledEvent=1;2;3;", 20, &written, nullptr);
  SetNumber(kFramework, L"AgentMode", 1);
  SetNumber(kFramework, L"AgPlcyEnableEventTrigger", 1);
  SetNumber(kFramework, L"AgPlcyEventTriggerThreshold", 5);
  SetNumber(kFramework, L"Brenn Size", 100'000'000);
  SetText(kFramework, L"Data Path", root_ + L"\\");
  SetText(kFramework, L"IPAddress", L"192.0.2.7");
  SetText(kEventParser, L"EventsPath", serverEvents);
  SetNumber(kLog, L"LogLevel", 5);
}

Agent::~Agent() {
  TakeFiles();
  DeleteFileA(filterFile.c_str());
  for (const auto& folder : {agentEvents, serverEvents, root_ + L"\\data", root_})
    RemoveDirectoryW(folder.c_str());
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, kKestrane);
}

std::string Agent::TakeFiles() const {
  std::string bytes;
  for (const auto& folder : {agentEvents, serverEvents}) {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder + L"\\*.xml").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) continue;
    do {
      const std::wstring path = folder + L"\\" + found.cFileName;
      const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                        nullptr, OPEN_EXISTING, 0, nullptr));
      bytes.resize(found.nFileSizeLow);
      DWORD read = 0;
      ReadFile(file.Get(), bytes.data(), found.nFileSizeLow, &read, nullptr);
      DeleteFileW(path.c_str());
    } while (FindNextFileW(search, &found));
    FindClose(search);
  }
  return bytes;
}

void BareEvent(const Agent& agent) {
  Query(kFramework, L"Data Path");
  {
    const FileHandle file(CreateFileA(agent.filterFile.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    char content[64];
    DWORD read = 0;
    ReadFile(file.Get(), content, GetFileSize(file.Get(), nullptr), &read, nullptr);
  }
  Query(kFramework, L"AgPlcyEnableEventTrigger", L"AgPlcyEventTriggerThreshold");
}

void BareAgentSave(const Agent& agent, const std::wstring& text, HANDLE mutex) {
  Query(kFramework, L"AgentMode");
  Query(kFramework, L"Data Path");
  const Bytes bytes(text);
  WaitForSingleObject(mutex, INFINITE);
  Query(kFramework, L"Brenn Size");
  bytes.WriteTo(Create(NewPath(agent.agentEvents), OPEN_ALWAYS));
  ReleaseMutex(mutex);
}

void BareServerSave(const Agent& agent, const std::wstring& text, HANDLE mutex) {
  Query(kFramework, L"AgentMode");
  Query(kEventParser, L"EventsPath");
  const Bytes bytes(text);
  WaitForSingleObject(mutex, INFINITE);
  CreateDirectoryW(agent.serverEvents.c_str(), nullptr);
  {
    const FileHandle file = Create(NewPath(agent.serverEvents), CREATE_NEW);
    Query(kFramework, L"Brenn Size");
    bytes.WriteTo(file);
  }
  ReleaseMutex(mutex);
}

}  // namespace varnel::bench
