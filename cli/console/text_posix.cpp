#include "console/text.h"

namespace varnel::tool {

NativePath ToNative(std::string_view argument) {
  return NativePath(argument);
}

std::string ToUtf8(NativePathView path) {
  return std::string(path);
}

std::string_view FileNameOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace varnel::tool
