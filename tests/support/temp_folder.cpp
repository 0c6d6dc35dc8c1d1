#include "support/temp_folder.h"

#include "varnel/testing/files.hpp"

#include <windows.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

namespace varnel::test {
namespace fs = std::filesystem;

TempFolder::TempFolder() {
  static std::atomic<int> count{0};
  const auto name = L"varnel-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++count);
  path_ = (fs::temp_directory_path() / name).wstring();
  fs::remove_all(path_);  // what a killed process of the same number has left
  fs::create_directories(path_);
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::wstring TempFolder::MakeFolder(const std::wstring& name) const {
  fs::create_directories(File(name));
  return File(name);
}

std::vector<std::wstring> FilesIn(const std::wstring& folder) {
  // Not the C++ library's iterator: it finds nothing in a folder with a long path.
  std::vector<std::wstring> names;
  varnel::testing::detail::ForEachEntry(folder + L"\\*", [&](const WIN32_FIND_DATAW& entry) {
    const std::wstring name = entry.cFileName;
    if (name != L"." && name != L"..") names.push_back(name);
  });
  std::sort(names.begin(), names.end());
  return names;
}

bool Exists(const std::wstring& path) {
  return fs::exists(path);
}

std::string ReadBytes(const std::wstring& path) {
  std::ifstream file(fs::path(path), std::ios::binary);
  EXPECT_TRUE(file.is_open());
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const std::wstring& path, const std::string& bytes) {
  std::ofstream file(fs::path(path), std::ios::binary);
  file << bytes;
  ASSERT_TRUE(file.flush().good());
}

std::string ReadDocument(const std::wstring& path) {
  const std::string bytes = ReadBytes(path);
  if (const wchar_t* const folder = _wgetenv(L"VARNEL_KEEP_DOCUMENTS")) {
    const fs::path copy = fs::path(folder) / std::to_wstring(std::hash<std::string>()(bytes));
    fs::create_directories(folder);
    if (!fs::exists(copy)) WriteBytes(copy.wstring(), bytes);
  }
  return bytes;
}

}  // namespace varnel::test
