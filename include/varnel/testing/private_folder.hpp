// Part of <varnel/testing.hpp>: the folder that an Agent has to itself.
#pragma once

#include <atomic>
#include <cwchar>
#include <iterator>
#include <string>
#include <varnel/testing/files.hpp>

namespace varnel::testing::detail {

// A new folder below the temporary folder. The destructor removes it. A folder whose process has ended is
// removed by the next object of any process that uses the same temporary folder.
class PrivateFolder {
 public:
  PrivateFolder() {
    const std::wstring parent = TemporaryFolder();
    RemoveAbandoned(parent);
    static std::atomic<unsigned> count{0};
    const std::wstring owner = parent + kPrefix + std::to_wstring(GetCurrentProcessId()) + L'-' +
                               std::to_wstring(StartOf(GetCurrentProcess())) + L'-';
    // Each module of the process that is built with this header has a count of its own.
    bool isMade = false;
    do {
      path_ = owner + std::to_wstring(++count);
      isMade = CreateDirectoryW(path_.c_str(), nullptr) != FALSE;
    } while (!isMade && GetLastError() == ERROR_ALREADY_EXISTS);
    if (isMade) lock_ = OpenLock(path_, CREATE_NEW);
    if (!lock_) Refuse(path_);
  }
  ~PrivateFolder() {
    lock_.reset();
    // A virus scanner may have a file open for a moment.
    for (int tries = 0; tries < 100 && !RemoveTree(path_); ++tries) Sleep(10);
  }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  // Returns the full path without a trailing backslash.
  const std::wstring& Path() const noexcept { return path_; }
  std::wstring File(const wchar_t* name) const { return path_ + L'\\' + name; }

  // Creates a folder inside unless it exists. Returns its full path.
  std::wstring MakeFolder(const wchar_t* name) const {
    std::wstring made = File(name);
    if (!CreateDirectoryW(made.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) Refuse(made);
    return made;
  }

 private:
  static constexpr wchar_t kPrefix[] = L"varnel-agent-";

  [[noreturn]] static void Refuse(const std::wstring& path) {
    FailAgent("the folder " + varnel::detail::Quoted(std::wstring_view(path)) + " cannot be made",
              GetLastError(),
              "Set TEMP to a folder on a disk with room, in which this account may create folders.");
  }

  static std::wstring TemporaryFolder() {
    // Then the paths of event files have fewer than 260 characters.
    constexpr DWORD kLongest = 150;
    wchar_t path[MAX_PATH + 1] = {};
    const DWORD length = GetTempPathW(MAX_PATH + 1, path);
    if (length == 0 || length > kLongest)
      FailAgent("the path of the temporary folder has " + std::to_string(length) + " characters",
                ERROR_FILENAME_EXCED_RANGE, "Set TEMP to a path of at most 150 characters.");
    return path;
  }

  // Returns the time at which a process was started; 0 if it has ended.
  static unsigned long long StartOf(void* process) noexcept {
    FILETIME start, ignored;
    DWORD status = 0;
    if (!GetExitCodeProcess(process, &status) || status != STILL_ACTIVE ||
        !GetProcessTimes(process, &start, &ignored, &ignored, &ignored))
      return 0;
    return static_cast<unsigned long long>(start.dwHighDateTime) << 32 | start.dwLowDateTime;
  }

  // While its owner has it open, nobody else can open it. Deleted when its owner ends in whatever way.
  static Handle OpenLock(const std::wstring& folder, DWORD disposition) {
    return OwnFile(CreateFileW((folder + L"\\lock").c_str(), DELETE, 0, nullptr, disposition,
                               FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  }

  // True if the process in the folder's name has ended and nobody has the lock open: processes of another
  // system that shares the temporary folder have numbers of their own.
  static bool IsAbandoned(const std::wstring& parent, const std::wstring& name) {
    wchar_t* end = nullptr;
    const unsigned long process = std::wcstoul(name.c_str() + std::size(kPrefix) - 1, &end, 10);
    if (*end != L'-') return false;
    const unsigned long long start = std::wcstoull(end + 1, &end, 10);
    if (*end != L'-') return false;
    const Handle running(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    if (running ? StartOf(running.get()) == start : GetLastError() != ERROR_INVALID_PARAMETER) return false;
    return OpenLock(parent + name, OPEN_EXISTING) || GetLastError() == ERROR_FILE_NOT_FOUND;
  }

  static void RemoveAbandoned(const std::wstring& parent) {
    ForEachEntry(parent + kPrefix + L'*', [&](const WIN32_FIND_DATAW& entry) {
      if (IsFolder(entry) && !IsLink(entry) && IsAbandoned(parent, entry.cFileName))
        RemoveTree(parent + entry.cFileName);
    });
  }

  std::wstring path_;
  Handle lock_;
};

}  // namespace varnel::testing::detail
