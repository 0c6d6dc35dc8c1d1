#include "eventfile/folder_listing.h"

#include "base/handles.h"

namespace varnel::tool {
namespace {

struct FindTraits {
  using Type = HANDLE;
  static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Type handle) noexcept { FindClose(handle); }
};

std::uint64_t Joined(DWORD high, DWORD low) {
  return static_cast<std::uint64_t>(high) << 32 | low;
}

}  // namespace

FolderListing ListFolder(const std::wstring& folder) {
  FolderListing listing;
  const std::wstring pattern = folder + L'*';
  WIN32_FIND_DATAW entry;
  const UniqueResource<FindTraits> find(FindFirstFileExW(
      pattern.c_str(), FindExInfoBasic, &entry, FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH));
  for (bool more = static_cast<bool>(find); more; more = FindNextFileW(find.Get(), &entry) != FALSE) {
    constexpr DWORD kNoFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if (entry.dwFileAttributes & kNoFile) continue;
    listing.files.push_back(
        {entry.cFileName, Joined(entry.nFileSizeHigh, entry.nFileSizeLow),
         Joined(entry.ftLastWriteTime.dwHighDateTime, entry.ftLastWriteTime.dwLowDateTime)});
  }
  const DWORD error = GetLastError();
  if (error != ERROR_NO_MORE_FILES && error != ERROR_FILE_NOT_FOUND) listing.error = error;
  return listing;
}

}  // namespace varnel::tool
