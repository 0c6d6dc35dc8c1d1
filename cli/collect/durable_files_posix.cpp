#include "collect/durable_files.h"
#include "eventfile/system_files_posix.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace varnel::tool {
namespace {

Descriptor Open(const NativePath& path, int flags) {
  return Descriptor(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK, 0666));
}

FileError ErrorUnless(bool isDone) {
  return isDone ? FileError() : LastFileError();
}

}  // namespace

struct AppendFile::Handle {
  Descriptor file;
};

AppendFile::AppendFile(const NativePath& path, std::uint64_t size)
    : handle_(std::make_unique<Handle>(Handle{Open(path, O_WRONLY | O_CREAT | O_APPEND)})) {
  error_ = ErrorUnless(static_cast<bool>(handle_->file));
  if (error_.problem == Problem::kNone) error_ = CutTo(size);
}

AppendFile::~AppendFile() = default;

FileError AppendFile::Write(std::string_view bytes) {
  while (error_.problem == Problem::kNone && !bytes.empty()) {
    const ssize_t written = write(handle_->file.Get(), bytes.data(), bytes.size());
    if (written >= 0)
      bytes.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR)
      return LastFileError();
  }
  return error_;
}

FileError AppendFile::CutTo(std::uint64_t size) {
  if (error_.problem != Problem::kNone) return error_;
  return ErrorUnless(ftruncate(handle_->file.Get(), static_cast<off_t>(size)) == 0);
}

FileError AppendFile::Flush() {
  if (error_.problem != Problem::kNone) return error_;
  return ErrorUnless(fsync(handle_->file.Get()) == 0);
}

FileError RenameFile(const NativePath& from, const NativePath& to) {
  return ErrorUnless(rename(from.c_str(), to.c_str()) == 0);
}

FileError FlushFolder(const NativePath& folder) {
  const Descriptor open = Open(folder, O_RDONLY | O_DIRECTORY);
  return ErrorUnless(open && fsync(open.Get()) == 0);
}

FileError EnsureFolder(const NativePath& folder) {
  return ErrorUnless(mkdir(folder.c_str(), 0777) == 0 || errno == EEXIST);
}

NativePath FolderPartOf(const NativePath& path) {
  return path.substr(0, path.rfind('/') + 1);
}

NativePath KeyOf(const NativePath& path) {
  return path;
}

struct FileLock::Handle {
  Descriptor file;
};

FileLock::FileLock(const NativePath& path)
    : handle_(std::make_unique<Handle>(Handle{Open(path, O_RDWR | O_CREAT)})) {
  error_ = ErrorUnless(handle_->file && flock(handle_->file.Get(), LOCK_EX | LOCK_NB) == 0);
}

FileLock::~FileLock() = default;

}  // namespace varnel::tool
