// Part of <varnel/testing.hpp>: files and folders.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <varnel/varnel.hpp>

namespace varnel::testing::detail {

struct HandleCloser {
  void operator()(void* handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;
inline Handle OwnFile(void* file) noexcept {
  return Handle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

[[noreturn]] inline void FailAgent(const std::string& what, DWORD error, const char* remedy) {
  throw std::runtime_error("varnel::testing::Agent: " + what + " (Windows error " + std::to_string(error) +
                           "). " + remedy);
}

// Calls visit(entry) for each file and folder whose path matches.
template <class Visit>
void ForEachEntry(const std::wstring& pattern, Visit visit) {
  struct Closer {
    void operator()(void* search) const noexcept { FindClose(search); }
  };
  WIN32_FIND_DATAW entry;
  void* const found = FindFirstFileW(pattern.c_str(), &entry);
  if (found == INVALID_HANDLE_VALUE) return;
  const std::unique_ptr<void, Closer> search(found);
  do visit(entry);
  while (FindNextFileW(found, &entry));
}
inline bool IsFolder(const WIN32_FIND_DATAW& entry) noexcept {
  return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}
inline bool IsLink(const WIN32_FIND_DATAW& entry) noexcept {
  return (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Deletes the folder and what is in it; deletes links, but not what they lead to. Returns false if something
// stays.
inline bool RemoveTree(const std::wstring& folder) {
  ForEachEntry(folder + L"\\*", [&](const WIN32_FIND_DATAW& entry) {
    const std::wstring name = entry.cFileName;
    const std::wstring path = folder + L'\\' + name;
    if (!IsFolder(entry))
      DeleteFileW(path.c_str());
    else if (IsLink(entry))
      RemoveDirectoryW(path.c_str());
    else if (name != L"." && name != L"..")
      RemoveTree(path);
  });
  return RemoveDirectoryW(folder.c_str()) != FALSE;
}

// Stores the file's bytes. Returns false, with the last error set, if the file cannot be read.
inline bool ReadBytes(const std::wstring& path, std::string& bytes) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const Handle file = OwnFile(CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size;
  if (!file || !GetFileSizeEx(file.get(), &size)) return false;
  bytes.resize(static_cast<std::size_t>(size.QuadPart));
  DWORD read = 0;
  return ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) &&
         read == bytes.size();
}

// Creates or replaces a file. Returns false if it cannot be opened, as while the library reads it.
inline bool WriteBytes(const std::wstring& path, const std::string& bytes) noexcept {
  const Handle file = OwnFile(
      CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  return file && WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
         written == bytes.size();
}

}  // namespace varnel::testing::detail
