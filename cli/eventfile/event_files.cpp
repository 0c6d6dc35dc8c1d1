#include "eventfile/event_files.h"

#include "base/files.h"
#include "console/console.h"
#include "console/text.h"
#include "eventfile/folder_listing.h"

#include <windows.h>

#include <algorithm>
#include <new>
#include <tuple>

namespace varnel::tool {
namespace {

constexpr std::int64_t kLargest = 256 * 1024 * 1024;
constexpr DWORD kPart = 64 * 1024;  // enough to read nearly every event file in one call

// Returns Windows' text for an error in one line.
std::string Describe(DWORD error) {
  wchar_t text[256];
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                      error, 0, text, 256, nullptr);
  std::string line = ToUtf8({text, length});
  line.erase(std::find_if(line.rbegin(), line.rend(),
                          [](char last) { return static_cast<unsigned char>(last) > ' ' && last != '.'; })
                 .base(),
             line.end());
  return line + " (" + std::to_string(error) + ")";
}

// Reads the file into the start of `bytes`, which grows as needed and never shrinks. Returns 0 or the error.
// A first part that is not full is the whole file: a file that grows meanwhile is unfinished.
DWORD ReadBytes(const ListedFile& file, std::string& bytes, std::size_t& size) {
  const DWORD links = file.named ? 0 : FILE_FLAG_OPEN_REPARSE_POINT;
  const FileHandle handle(CreateFileW(file.path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_SEQUENTIAL_SCAN | kAnonymously | links, nullptr));
  if (!handle) return GetLastError();
  // Only a path from the command line may lead to a device.
  if (file.named && GetFileType(handle.Get()) != FILE_TYPE_DISK) return ERROR_BAD_FILE_TYPE;
  if (bytes.size() < kPart) bytes.resize(kPart);
  DWORD read = 0;
  if (!ReadFile(handle.Get(), bytes.data(), kPart, &read, nullptr)) return GetLastError();
  size = read;
  if (size < kPart) return ERROR_SUCCESS;
  LARGE_INTEGER whole;
  if (!GetFileSizeEx(handle.Get(), &whole)) return GetLastError();
  if (whole.QuadPart > kLargest) return ERROR_FILE_TOO_LARGE;
  const auto rest = static_cast<DWORD>(std::max<std::int64_t>(kPart, whole.QuadPart) - kPart);
  if (bytes.size() < kPart + rest) bytes.resize(kPart + rest);
  if (!ReadFile(handle.Get(), bytes.data() + kPart, rest, &read, nullptr)) return GetLastError();
  size += read;
  return ERROR_SUCCESS;
}

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) throw Failure(Printable(path) + ": " + Describe(GetLastError()));
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

std::vector<ListedFile> ListFiles(const std::wstring& path) {
  if (!IsFolder(path)) return {{path, true}};
  const bool closed = path.ends_with(L'\\') || path.ends_with(L'/');
  const std::wstring folder = closed ? path : path + L'\\';
  FolderListing listing = ListFolder(folder);
  if (listing.error != ERROR_SUCCESS) throw Failure(Printable(path) + ": " + Describe(listing.error));
  std::sort(listing.files.begin(), listing.files.end(), [](const FolderFile& one, const FolderFile& other) {
    return std::tie(one.written, one.name) < std::tie(other.written, other.name);
  });
  std::vector<ListedFile> files;
  for (const FolderFile& file : listing.files) files.push_back({folder + file.name});
  return files;
}

EventFileReader::Result EventFileReader::Read(const ListedFile& file) {
  tree_ = XmlTree();
  const auto unreadable = [](std::string why) {
    return Result{{FileState::kUnreadable, {0, std::move(why)}}};
  };
  try {
    std::size_t size = 0;
    switch (const DWORD error = ReadBytes(file, bytes_, size)) {
      case ERROR_SUCCESS:
        return {ReadXml(std::string_view(bytes_).substr(0, size), tree_)};
      case ERROR_SHARING_VIOLATION:
        return {{FileState::kUnfinished, {0, "in use by another program"}}, false, true};
      case ERROR_FILE_TOO_LARGE:
        return unreadable("larger than 256 MB");
      case ERROR_BAD_FILE_TYPE:
        return unreadable("not a file on a disk");
      default: {
        Result result = unreadable(Describe(error));
        result.isGone = !file.named && (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND);
        return result;
      }
    }
  } catch (const std::bad_alloc&) {
    return unreadable("too large for this machine's memory");
  }
}

std::uint64_t SizeOf(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return 0;
  return static_cast<std::uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

}  // namespace varnel::tool
