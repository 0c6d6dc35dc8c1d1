#include "eventfile/event_files.h"

#include "console/console.h"
#include "eventfile/files.h"

#include <algorithm>
#include <new>
#include <tuple>

namespace varnel::tool {
namespace {

constexpr std::size_t kPart = 64 * 1024;  // enough to read nearly every event file in one call

// Reads the file into the start of `bytes`, which grows as needed and never shrinks. Returns the number of
// bytes read, or nothing if the file is too large. A first part that is not full is the whole file: a file
// that grows meanwhile is unfinished.
std::optional<std::size_t> ReadBytes(InputFile& file, std::string& bytes) {
  if (bytes.size() < kPart) bytes.resize(kPart);
  const std::size_t first = file.Read(bytes.data(), kPart);
  if (first < kPart) return first;
  const std::uint64_t whole = file.Size();
  if (whole > kLargestFile) return std::nullopt;
  const std::size_t size = std::max(static_cast<std::size_t>(whole), kPart);
  if (bytes.size() < size) bytes.resize(size);
  return kPart + file.Read(bytes.data() + kPart, size - kPart);
}

Failure CannotRead(const NativePath& path, const FileError& error) {
  return Failure(Printable(ToUtf8(path)) + ": " + DescribeError(error.number));
}

// Returns the files of a folder, whose path is empty or ends in a separator. `path` is the folder in a
// failure.
std::vector<ListedFile> FilesOf(const NativePath& folder, const NativePath& path) {
  FolderListing listing = ListFolder(folder.empty() ? WithSeparator(ToNative(".")) : folder);
  if (listing.error.problem != Problem::kNone) throw CannotRead(path, listing.error);
  std::sort(listing.files.begin(), listing.files.end(), [](const FolderFile& one, const FolderFile& other) {
    return std::tie(one.written, one.name) < std::tie(other.written, other.name);
  });
  std::vector<ListedFile> files;
  for (const FolderFile& file : listing.files) files.push_back({folder + file.name});
  return files;
}

bool HasWildcard(NativePathView name) {
  return std::any_of(name.begin(), name.end(), [](auto letter) { return letter == '*' || letter == '?'; });
}

EventFileReader::Result Unreadable(std::string why) {
  return {{FileState::kUnreadable, {0, std::move(why)}}};
}

// Returns the result for a file that cannot be read.
EventFileReader::Result ResultOf(const FileError& error, bool isNamed) {
  if (error.problem == Problem::kInUse)
    return {{FileState::kUnfinished, {0, "in use by another program"}}, false, true};
  if (error.problem == Problem::kNotFile) return Unreadable("not a file on a disk");
  EventFileReader::Result result = Unreadable(DescribeError(error.number));
  result.isGone = !isNamed && error.problem == Problem::kMissing;
  return result;
}

}  // namespace

std::vector<ListedFile> ListFiles(const NativePath& path) {
  const PathFacts facts = FactsOf(path);
  if (facts.error.problem == Problem::kNone)
    return facts.isFolder ? FilesOf(WithSeparator(path), path) : std::vector<ListedFile>{{path, true}};
  const std::size_t length = FolderLength(path);
  const NativePath pattern = path.substr(length);
  if (!HasWildcard(pattern)) throw CannotRead(path, facts.error);
  std::vector<ListedFile> files = FilesOf(path.substr(0, length), path);
  std::erase_if(files, [&](const ListedFile& file) {
    return !MatchesName(NativePathView(file.path).substr(length), pattern);
  });
  if (files.empty()) throw Failure(Printable(ToUtf8(path)) + ": no file matches");
  return files;
}

EventFileReader::Result EventFileReader::Read(const ListedFile& file) {
  tree_ = XmlTree();
  size_ = 0;
  try {
    // Only a path from the command line may be a link.
    InputFile input(file.path, file.named ? InputFile::Links::kFollow : InputFile::Links::kRefuse);
    const std::optional<std::size_t> size = ReadBytes(input, bytes_);
    if (input.Error().problem != Problem::kNone) return ResultOf(input.Error(), file.named);
    if (!size) return Unreadable("larger than 256 MB");
    size_ = *size;
    return {ReadXml(Bytes(), tree_)};
  } catch (const std::bad_alloc&) {
    return Unreadable("too large for this machine's memory");
  }
}

}  // namespace varnel::tool
