#include "collect/known_files.h"

#include <string_view>

namespace varnel::tool {
namespace {

void Write(std::string& records, char kind, std::size_t number, NativePathView name, const KnownFile& file,
           std::uint64_t end, std::uint64_t sum) {
  RecordWriter(records, kind)
      .Numbers(
          {static_cast<unsigned char>(file.kind), number, file.size, file.written, file.digest, end, sum})
      .Path(name);
}

}  // namespace

std::size_t KnownFiles::NumberOf(const NativePath& path) {
  for (std::size_t i = 0; i < folders_.size(); ++i)
    if (KeyOf(folders_[i].path) == KeyOf(path)) return i;
  folders_.push_back({path, {}});
  return folders_.size() - 1;
}

void KnownFiles::WriteAll(std::string& records) const {
  for (std::size_t i = 0; i < folders_.size(); ++i) {
    WriteFolder(records, i);
    for (const auto& [name, file] : folders_[i].files)
      if (file.kind != KnownFile::Kind::kSeen) WriteFile(records, i, name, file);
  }
}

void KnownFiles::WriteFolder(std::string& records, std::size_t number) const {
  RecordWriter(records, kFolderRecord).Path(folders_[number].path);
}

void KnownFiles::WriteFile(std::string& records, std::size_t number, NativePathView name,
                           const KnownFile& file) {
  Write(records, kFileRecord, number, name, file, 0, 0);
}

void KnownFiles::WriteTaken(std::string& records, std::size_t number, NativePathView name,
                            const KnownFile& file, std::uint64_t end, std::uint64_t sum) {
  Write(records, kTakenRecord, number, name, file, end, sum);
}

bool KnownFiles::TakeFolder(RecordReader& record) {
  const NativePath path = record.Path();
  return record.IsGood() && NumberOf(path) == folders_.size() - 1;
}

bool KnownFiles::TakeFile(RecordReader& record, FileRecord& file) const {
  const std::uint64_t kind = record.Number();
  file.folder = static_cast<std::size_t>(record.Number());
  for (std::uint64_t* const value :
       {&file.file.size, &file.file.written, &file.file.digest, &file.end, &file.sum})
    *value = record.Number();
  file.name = record.Path();
  for (const KnownFile::Kind known :
       {KnownFile::Kind::kTaken, KnownFile::Kind::kPassedOver, KnownFile::Kind::kUnreadable})
    if (kind == static_cast<unsigned char>(known)) {
      file.file.kind = known;
      return record.IsGood() && file.folder < folders_.size();
    }
  return false;
}

}  // namespace varnel::tool
