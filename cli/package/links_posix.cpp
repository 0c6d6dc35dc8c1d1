#include "package/package_files.h"

namespace varnel::tool {

bool IsLink(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::is_symlink(std::filesystem::symlink_status(path, error));
}

}  // namespace varnel::tool
