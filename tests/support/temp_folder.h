#pragma once

#include <string>
#include <vector>

namespace varnel::test {

// A new folder below the temporary folder. The destructor removes it with its contents.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // Returns the full path without a trailing backslash.
  const std::wstring& Path() const noexcept { return path_; }
  std::wstring File(const std::wstring& name) const { return path_ + L"\\" + name; }

  // Creates a folder inside and returns its full path.
  std::wstring MakeFolder(const std::wstring& name) const;

 private:
  std::wstring path_;
};

// Returns the names of the files and folders in a folder, sorted. Returns an empty list for a missing folder.
std::vector<std::wstring> FilesIn(const std::wstring& folder);
// True for a file and for a folder.
bool Exists(const std::wstring& path);
// ReadBytes, WriteBytes and ReadDocument fail the test if the file cannot be opened or written.
std::string ReadBytes(const std::wstring& path);
void WriteBytes(const std::wstring& path, const std::string& bytes);
// Returns the bytes of an event file. If the environment variable VARNEL_KEEP_DOCUMENTS names a folder,
// copies the file there, equal files once; tests/schema checks the copies.
std::string ReadDocument(const std::wstring& path);

}  // namespace varnel::test
