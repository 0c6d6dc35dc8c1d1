#pragma once

#include "base/files.h"
#include "eventfile/files.h"

// Windows only: what the implementations of files share.
namespace varnel::tool {

// Returns the error of a number of GetLastError.
[[nodiscard]] inline FileError FileErrorOf(DWORD number) {
  switch (number) {
    case ERROR_SUCCESS:
      return {};
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return {Problem::kMissing, number};
    case ERROR_SHARING_VIOLATION:
      return {Problem::kInUse, number};
    default:
      return {Problem::kOther, number};
  }
}

}  // namespace varnel::tool
