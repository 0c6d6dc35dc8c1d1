#include "console/pattern.h"
#include "eventfile/files.h"
#include "eventfile/system_files_posix.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

namespace varnel::tool {
namespace {

struct FolderCloser {
  void operator()(DIR* folder) const noexcept { closedir(folder); }
};

// FILETIME counts from the year 1601.
std::uint64_t TicksOf(const timespec& time) {
  constexpr std::int64_t kEpoch = 11'644'473'600;
  return static_cast<std::uint64_t>((time.tv_sec + kEpoch) * 10'000'000 + time.tv_nsec / 100);
}

// Renames a file unless the new name is taken.
bool RenameToNew(const char* from, const char* to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
  // Some file systems cannot do both in one step.
  struct stat facts;
  return errno == EINVAL && lstat(to, &facts) != 0 && errno == ENOENT && rename(from, to) == 0;
}

}  // namespace

PathFacts FactsOf(const NativePath& path) {
  struct stat facts;
  if (stat(path.c_str(), &facts) != 0) return {LastFileError()};
  return {{}, S_ISDIR(facts.st_mode), static_cast<std::uint64_t>(facts.st_size)};
}

NativePath FullPath(const NativePath& path) {
  std::error_code error;
  const std::filesystem::path full = std::filesystem::absolute(path, error);
  if (error) return path;
  // ".." after a link leads to the parent of the link's target, so it stays.
  for (const std::filesystem::path& part : full)
    if (part == "..") return full;
  return full.lexically_normal();
}

NativePath WithSeparator(NativePath folder) {
  if (!folder.ends_with('/')) folder += '/';
  return folder;
}

std::size_t FolderLength(NativePathView path) {
  return path.rfind('/') + 1;
}

bool MatchesName(NativePathView name, NativePathView pattern) {
  return MatchesPattern(name, pattern,
                        [](char wanted, char given) { return wanted == '?' || wanted == given; });
}

FolderListing ListFolder(const NativePath& folder) {
  FolderListing listing;
  const std::unique_ptr<DIR, FolderCloser> open(opendir(folder.c_str()));
  errno = open ? 0 : errno;
  while (const dirent* const entry = open ? readdir(open.get()) : nullptr) {
    struct stat facts;
    // A file that has been deleted since is not listed.
    if (fstatat(dirfd(open.get()), entry->d_name, &facts, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(facts.st_mode))
      listing.files.push_back(
          {entry->d_name, static_cast<std::uint64_t>(facts.st_size), TicksOf(facts.st_mtim)});
    errno = 0;  // readdir reports an error by this number alone
  }
  if (errno != 0) listing.error = LastFileError();
  return listing;
}

FoundFile FindFile(const NativePath& folder, const NativePath& name) {
  struct stat facts;
  if (lstat((folder + name).c_str(), &facts) != 0) return {LastFileError().problem, {}};
  if (!S_ISREG(facts.st_mode)) return {Problem::kNotFile, {}};
  return {Problem::kNone, {name, static_cast<std::uint64_t>(facts.st_size), TicksOf(facts.st_mtim)}};
}

struct InputFile::Handle {
  Descriptor file;
};

InputFile::InputFile(const NativePath& path, Links links) {
  // Without O_NONBLOCK, opening a pipe waits for its writer.
  const int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | (links == Links::kFollow ? 0 : O_NOFOLLOW);
  handle_ = std::make_unique<Handle>(Handle{Descriptor(open(path.c_str(), flags))});
  struct stat facts;
  if (!handle_->file || fstat(handle_->file.Get(), &facts) != 0)
    error_ = LastFileError();
  else if (!S_ISREG(facts.st_mode))
    error_ = {Problem::kNotFile, 0};
}

InputFile::~InputFile() = default;

std::size_t InputFile::Read(char* bytes, std::size_t most) {
  std::size_t done = 0;
  while (error_.problem == Problem::kNone && done < most) {
    const ssize_t count = read(handle_->file.Get(), bytes + done, most - done);
    if (count == 0) break;
    if (count > 0)
      done += static_cast<std::size_t>(count);
    else if (errno != EINTR)
      error_ = LastFileError();
  }
  return error_.problem == Problem::kNone ? done : 0;
}

std::uint64_t InputFile::Size() {
  struct stat facts {};
  if (error_.problem == Problem::kNone && fstat(handle_->file.Get(), &facts) != 0) error_ = LastFileError();
  return static_cast<std::uint64_t>(facts.st_size);
}

struct NewFile::Handle {
  std::string name;
  Descriptor file;
};

// O_EXCL refuses any file of the name, also a dangling link.
NewFile::NewFile(NativePath path, Existing existing) : path_(std::move(path)), existing_(existing) {
  for (int number = 1; number <= 100; ++number) {
    std::string name = path_ + "." + std::to_string(number) + ".new";
    Descriptor file(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file && errno == EEXIST) continue;
    if (file) handle_ = std::make_unique<Handle>(Handle{std::move(name), std::move(file)});
    return;
  }
}

NewFile::~NewFile() {
  if (handle_) unlink(handle_->name.c_str());
}

bool NewFile::Write(std::string_view bytes) {
  while (handle_ && !bytes.empty()) {
    const ssize_t written = write(handle_->file.Get(), bytes.data(), bytes.size());
    if (written >= 0)
      bytes.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR)
      return false;
  }
  return handle_ != nullptr;
}

bool NewFile::Finish() {
  if (!handle_ || !handle_->file.Close()) return false;
  const char* const name = handle_->name.c_str();
  const bool isRenamed =
      existing_ == Existing::kReplace ? rename(name, path_.c_str()) == 0 : RenameToNew(name, path_.c_str());
  if (isRenamed) handle_.reset();
  return isRenamed;
}

}  // namespace varnel::tool
