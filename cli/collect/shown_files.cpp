#include "collect/shown_files.h"

#include <algorithm>
#include <utility>

namespace varnel::tool {

ShownFiles::ShownFiles(const NativePath& state)
    : path_(state), lock_(state + ToNative(".lock")), position_(state) {
  if (lock_.Error().problem == Problem::kInUse)
    throw Failure(Printable(ToUtf8(state)) +
                  " is in use by another varnel show; stop it, or name another file with --state");
  if (!IsGood(lock_.Error())) throw CannotWrite(state, lock_.Error());
  static_cast<void>(position_.Load([this](RecordReader& record) {
    if (record.Kind() == KnownFiles::kFolderRecord) return files_.TakeFolder(record);
    KnownFiles::FileRecord file;
    if (record.Kind() != KnownFiles::kFileRecord || !files_.TakeFile(record, file)) return false;
    files_[file.folder].files[file.name] = file.file;
    return true;
  }));
  Rewrite();
}

ShownFiles::Seen ShownFiles::Look(const NativePath& path) {
  const NativePath folder = FolderPartOf(path);
  Seen seen;
  const std::size_t count = files_.Count();
  seen.folder = files_.NumberOf(folder);
  if (seen.folder == count) files_.WriteFolder(records_, count);
  seen.file = FindFile(folder, path.substr(folder.size())).file;
  const auto& files = files_[seen.folder].files;
  const auto known = files.find(seen.file.name);
  seen.isShown = known != files.end() && known->second.IsUnchanged(seen.file);
  return seen;
}

void ShownFiles::Add(const Seen& seen) {
  if (seen.file.name.empty()) return;
  const KnownFile file{KnownFile::Kind::kTaken, seen.file.size, seen.file.written, 0, 0};
  files_[seen.folder].files[seen.file.name] = file;
  KnownFiles::WriteFile(records_, seen.folder, seen.file.name, file);
}

void ShownFiles::Write() {
  if (records_.empty()) return;
  if (const FileError error = position_.Append(records_); !IsGood(error)) throw CannotWrite(path_, error);
  appended_ += records_.size();
  records_.clear();
  constexpr std::size_t kLeast = 1 << 20;
  if (appended_ > std::max(rewritten_, kLeast)) Rewrite();
}

void ShownFiles::Rewrite() {
  for (std::size_t i = 0; i < files_.Count(); ++i)
    std::erase_if(files_[i].files, [&](const auto& entry) {
      return FindFile(files_[i].path, entry.first).problem == Problem::kMissing;
    });
  std::string records;
  files_.WriteAll(records);
  if (const FileError error = position_.Rewrite(records); !IsGood(error)) throw CannotWrite(path_, error);
  rewritten_ = records.size();
  appended_ = 0;
}

}  // namespace varnel::tool
