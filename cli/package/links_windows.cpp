#include "package/package_files.h"

#include <windows.h>

namespace varnel::tool {

// libstdc++ 12 follows links in symlink_status on Windows.
bool IsLink(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace varnel::tool
