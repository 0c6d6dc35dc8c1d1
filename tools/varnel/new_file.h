#pragma once

#include "base/handles.h"

#include <string>
#include <string_view>

namespace varnel::tool {

// A new file beside `path`, which takes that name when it is finished: a symbolic or hard link there is
// replaced, not written through. Until then what was there is untouched; a file that is never finished is
// deleted.
class NewFile {
 public:
  explicit NewFile(std::wstring path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  // These are false on failure.
  [[nodiscard]] bool Write(std::string_view bytes);
  [[nodiscard]] bool Finish();

 private:
  const std::wstring path_;
  FileHandle file_;
};

}  // namespace varnel::tool
