#include "protection/client_file.h"

#include "base/characters.h"
#include "base/files.h"
#include "protection/signature_check.h"

#include <cwchar>
#include <iterator>

namespace varnel {
namespace {

const wchar_t* WhatIsWrongWith(const wchar_t* path) noexcept {
  if (std::wcslen(path) > kLongestClientPath) return L"its path is too long";
  if (path[0] == L'\\' && path[1] == L'\\') return L"it is not on a local disk";
  if (!IsAsciiLetter(path[0]) || path[1] != L':' || path[2] != L'\\') return L"its path is not a full one";
  const wchar_t root[] = {path[0], L':', L'\\', L'\0'};
  return GetDriveTypeW(root) == DRIVE_REMOTE ? L"it is not on a local disk" : nullptr;
}

}  // namespace

FileHandle OpenClientFile(const wchar_t* path, std::optional<Refusal>& refusal) noexcept {
  if (const wchar_t* const wrong = WhatIsWrongWith(path)) {
    refusal = Refusal{wrong, ERROR_BAD_PATHNAME};
    return FileHandle();
  }
  FileHandle file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL | kAnonymously, nullptr));
  const DWORD error = GetLastError();
  if (!file && error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND)
    refusal = Refusal{L"it cannot be opened", error};
  return file;
}

std::optional<Refusal> CheckClientFile(HANDLE file, wchar_t (&ownPath)[kOwnPathCapacity],
                                       const wchar_t* library) noexcept {
  constexpr wchar_t kNetwork[] = L"\\\\?\\UNC\\";
  const DWORD length = GetFinalPathNameByHandleW(file, ownPath, static_cast<DWORD>(std::size(ownPath)), 0);
  if (length == 0 || length >= std::size(ownPath))
    return Refusal{L"the system does not tell its path",
                   length == 0 ? GetLastError() : ERROR_BUFFER_OVERFLOW};
  if (std::wcsncmp(ownPath, kNetwork, std::size(kNetwork) - 1) == 0)
    return Refusal{L"it is not on a local disk", ERROR_BAD_PATHNAME};
  const SignatureVerdict verdict = CheckSignature(file, ownPath, library);
  if (verdict.objection) return Refusal{verdict.objection, verdict.code};
  return std::nullopt;
}

}  // namespace varnel
