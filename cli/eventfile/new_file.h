#pragma once

#include "base/handles.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// A temporary file beside `path` that Finish renames to `path`. It replaces a symbolic or hard link there and
// never writes through one. The old file stays untouched until then. The destructor deletes a file that has
// not been finished.
class NewFile {
 public:
  explicit NewFile(std::wstring path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  // Return false on failure.
  [[nodiscard]] bool Write(std::string_view bytes);
  [[nodiscard]] bool Finish();

 private:
  const std::wstring path_;
  FileHandle file_;
};

}  // namespace varnel::tool
