#pragma once

#include <string>
#include <vector>

namespace varnel::test {

// A folder of its own below the temporary folder, removed with everything in it.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // Full path without a trailing backslash.
  const std::wstring& Path() const noexcept { return path_; }
  std::wstring File(const std::wstring& name) const { return path_ + L"\\" + name; }

  // Makes a folder inside and returns its full path.
  std::wstring MakeFolder(const std::wstring& name) const;

 private:
  std::wstring path_;
};

// Names of the files in a folder, sorted; empty for a missing folder.
std::vector<std::wstring> FilesIn(const std::wstring& folder);
bool Exists(const std::wstring& path);
std::string ReadBytes(const std::wstring& path);
void WriteBytes(const std::wstring& path, const std::string& bytes);
// The bytes of an event file. When the environment variable VARNEL_KEEP_DOCUMENTS names a folder, a copy
// stays in there, one for all files that are equal: tests/schema looks at it later.
std::string ReadDocument(const std::wstring& path);

}  // namespace varnel::test
