#include "console/pattern.h"
#include "eventfile/files.h"
#include "eventfile/system_files_windows.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace varnel::tool {
namespace {

struct FindTraits {
  using Type = HANDLE;
  static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Type handle) noexcept { FindClose(handle); }
};

// Folders, and links to files and folders.
constexpr DWORD kNoFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;

std::uint64_t Joined(DWORD high, DWORD low) {
  return static_cast<std::uint64_t>(high) << 32 | low;
}

PathFacts FactsOfTarget(const NativePath& link) {
  const FileHandle target(CreateFileW(link.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS | kAnonymously, nullptr));
  BY_HANDLE_FILE_INFORMATION facts;
  if (!target || !GetFileInformationByHandle(target.Get(), &facts)) return {FileErrorOf(GetLastError())};
  return {{},
          (facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0,
          Joined(facts.nFileSizeHigh, facts.nFileSizeLow)};
}

// Creates a file that must not exist, not even as a dangling link. No other process can open it meanwhile.
FileHandle CreateBeside(const NativePath& path) {
  FileHandle file;
  for (int number = 1; number <= 100; ++number) {
    const std::wstring name = path + L"." + std::to_wstring(number) + L".new";
    file.Reset(CreateFileW(name.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                           FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | kAnonymously, nullptr));
    if (file || GetLastError() != ERROR_FILE_EXISTS) break;
  }
  return file;
}

// Renames the file by its handle, so that no other file can be moved to the new name in between.
bool Rename(HANDLE file, const NativePath& path, bool replaces) {
  const std::size_t length = path.size() * sizeof(wchar_t);
  std::vector<std::byte> memory(sizeof(FILE_RENAME_INFO) + length);
  FILE_RENAME_INFO information{};
  information.ReplaceIfExists = replaces;
  information.FileNameLength = static_cast<DWORD>(length);
  std::memcpy(memory.data(), &information, sizeof(information));
  std::memcpy(memory.data() + offsetof(FILE_RENAME_INFO, FileName), path.c_str(), length + sizeof(wchar_t));
  return SetFileInformationByHandle(file, FileRenameInfo, memory.data(), static_cast<DWORD>(memory.size()));
}

}  // namespace

PathFacts FactsOf(const NativePath& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return {FileErrorOf(GetLastError())};
  if (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) return FactsOfTarget(path);
  return {{},
          (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0,
          Joined(data.nFileSizeHigh, data.nFileSizeLow)};
}

NativePath FullPath(const NativePath& path) {
  std::wstring full(32'768, L'\0');
  full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full.empty() ? path : full;
}

NativePath WithSeparator(NativePath folder) {
  if (!folder.ends_with(L'\\') && !folder.ends_with(L'/')) folder += L'\\';
  return folder;
}

std::size_t FolderLength(NativePathView path) {
  return path.find_last_of(L"\\/:") + 1;
}

bool MatchesName(NativePathView name, NativePathView pattern) {
  return MatchesPattern(name, pattern, [](wchar_t wanted, wchar_t given) {
    return wanted == L'?' || CompareStringOrdinal(&wanted, 1, &given, 1, TRUE) == CSTR_EQUAL;
  });
}

FolderListing ListFolder(const NativePath& folder) {
  FolderListing listing;
  const std::wstring pattern = folder + L'*';
  WIN32_FIND_DATAW entry;
  const UniqueResource<FindTraits> find(FindFirstFileExW(
      pattern.c_str(), FindExInfoBasic, &entry, FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH));
  for (bool more = static_cast<bool>(find); more; more = FindNextFileW(find.Get(), &entry) != FALSE) {
    if (entry.dwFileAttributes & kNoFile) continue;
    listing.files.push_back(
        {entry.cFileName, Joined(entry.nFileSizeHigh, entry.nFileSizeLow),
         Joined(entry.ftLastWriteTime.dwHighDateTime, entry.ftLastWriteTime.dwLowDateTime)});
  }
  const DWORD error = GetLastError();
  if (error != ERROR_NO_MORE_FILES && error != ERROR_FILE_NOT_FOUND) listing.error = FileErrorOf(error);
  return listing;
}

FoundFile FindFile(const NativePath& folder, const NativePath& name) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW((folder + name).c_str(), GetFileExInfoStandard, &data))
    return {FileErrorOf(GetLastError()).problem, {}};
  if (data.dwFileAttributes & kNoFile) return {Problem::kNotFile, {}};
  return {Problem::kNone,
          {name, Joined(data.nFileSizeHigh, data.nFileSizeLow),
           Joined(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime)}};
}

struct InputFile::Handle {
  FileHandle file;
};

InputFile::InputFile(const NativePath& path, Links links) : handle_(std::make_unique<Handle>()) {
  const DWORD reparse = links == Links::kFollow ? 0 : FILE_FLAG_OPEN_REPARSE_POINT;
  handle_->file.Reset(CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_SEQUENTIAL_SCAN | kAnonymously | reparse, nullptr));
  if (!handle_->file)
    error_ = FileErrorOf(GetLastError());
  else if (GetFileType(handle_->file.Get()) != FILE_TYPE_DISK)
    error_ = {Problem::kNotFile, ERROR_BAD_FILE_TYPE};
}

InputFile::~InputFile() = default;

std::size_t InputFile::Read(char* bytes, std::size_t most) {
  DWORD read = 0;
  if (error_.problem != Problem::kNone) return 0;
  if (ReadFile(handle_->file.Get(), bytes, static_cast<DWORD>(most), &read, nullptr)) return read;
  error_ = FileErrorOf(GetLastError());
  return 0;
}

std::uint64_t InputFile::Size() {
  LARGE_INTEGER size{};
  if (error_.problem == Problem::kNone && !GetFileSizeEx(handle_->file.Get(), &size))
    error_ = FileErrorOf(GetLastError());
  return static_cast<std::uint64_t>(size.QuadPart);
}

struct NewFile::Handle {
  FileHandle file;
};

NewFile::NewFile(NativePath path, Existing existing)
    : path_(std::move(path)),
      existing_(existing),
      handle_(std::make_unique<Handle>(Handle{CreateBeside(path_)})) {}

NewFile::~NewFile() {
  if (!handle_->file) return;
  FILE_DISPOSITION_INFO disposition{TRUE};
  SetFileInformationByHandle(handle_->file.Get(), FileDispositionInfo, &disposition, sizeof(disposition));
}

bool NewFile::Write(std::string_view bytes) {
  constexpr std::size_t kMost = 1 << 24;
  DWORD written = 0;
  for (; !bytes.empty(); bytes.remove_prefix(written))
    if (!WriteFile(handle_->file.Get(), bytes.data(), static_cast<DWORD>(std::min(bytes.size(), kMost)),
                   &written, nullptr) ||
        written == 0)
      return false;
  return true;
}

bool NewFile::Finish() {
  if (!handle_->file || !Rename(handle_->file.Get(), path_, existing_ == Existing::kReplace)) return false;
  handle_->file.Reset();
  return true;
}

}  // namespace varnel::tool
