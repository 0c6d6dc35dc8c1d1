#include "machine/path_fault.h"

#include "console/wide_text.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace varnel::tool {
namespace {

bool IsLetter(wchar_t unit) {
  return (unit >= L'A' && unit <= L'Z') || (unit >= L'a' && unit <= L'z');
}
bool IsSlash(wchar_t unit) {
  return unit == L'\\' || unit == L'/';
}
bool HasDrive(std::wstring_view path) {
  return path.size() >= 2 && IsLetter(path[0]) && path[1] == L':';
}
bool IsShare(std::wstring_view path) {
  return path.size() >= 2 && IsSlash(path[0]) && IsSlash(path[1]);
}
bool IsFull(std::wstring_view path) {
  return IsShare(path) || (HasDrive(path) && path.size() >= 3 && IsSlash(path[2]));
}
// True if the path has a variable of this process's environment.
bool HasVariable(const std::wstring& path) {
  wchar_t expanded[1024];
  const DWORD length = ExpandEnvironmentStringsW(path.c_str(), expanded, 1024);
  return length > 1024 || (length > 0 && path != expanded);
}

// Returns the first character that Windows does not allow in a name.
std::optional<wchar_t> BadCharacter(std::wstring_view path) {
  if (path.starts_with(L"\\\\?\\")) path.remove_prefix(4);
  if (HasDrive(path)) path.remove_prefix(2);
  const auto bad = std::find_if(path.begin(), path.end(), [](wchar_t unit) {
    return unit < L' ' || std::wstring_view(L"<>:\"|?*").find(unit) != std::wstring_view::npos;
  });
  return bad == path.end() ? std::nullopt : std::optional(*bad);
}

}  // namespace

std::optional<PathFault> FindPathFault(const std::wstring& path) {
  const std::string shown = "\"" + Printable(path) + "\"";
  if (path.empty()) return PathFault{"is empty", "Set it to a full path."};
  if (path.find(L'"') != path.npos)
    return PathFault{shown + " has quotation marks", "Write the path without quotation marks."};
  if (path.front() == L' ' || path.back() == L' ')
    return PathFault{shown + " begins or ends with a blank", "Remove the blank."};
  if (HasVariable(path))
    return PathFault{shown + " has a variable, which is not replaced",
                     "Write the path itself, without variables."};
  if (!IsFull(path))
    return PathFault{shown + " is not a full path, so each program uses another folder",
                     "Write the path with its drive, like C:\\Agent\\."};
  if (const auto bad = BadCharacter(path))
    return PathFault{shown + " has the character '" + Printable(std::wstring(1, *bad)) +
                         "', which Windows does not allow in names",
                     "Correct the path."};
  if (HasDrive(path) && GetDriveTypeW((path.substr(0, 2) + L"\\").c_str()) == DRIVE_NO_ROOT_DIR)
    return PathFault{shown + ": there is no drive " + Printable(path.substr(0, 2)),
                     "Connect that drive, or choose a folder on a local disk."};
  return std::nullopt;
}

}  // namespace varnel::tool
