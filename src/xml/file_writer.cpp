#include "xml/file_writer.h"

#include "base/files.h"
#include "xml/errors.h"

#include <windows.h>

namespace AdvXMLParser {
namespace {

using varnel::FileHandle;

std::int32_t Fail(const wchar_t* reason) noexcept {
  SetLastErrorText(reason);
  return kSaveFailed;
}

std::int32_t Save(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                  Transformation transform, AcceptTest accept) {
  if (encoding != kUtf8Encoding) return Fail(L"unsupported encoding on write");
  std::string utf8;
  if (ToUtf8(text, utf8) != kSaved) return kSaveFailed;
  if (accept && !accept(utf8)) return kSaveRefused;
  std::string transformed;
  if (transform && !transform(utf8, transformed)) return kSaveFailed;
  const FileHandle file = OpenForText(path);
  return file ? WriteText(file, transform ? transformed : utf8) : kSaveFailed;
}

}  // namespace

std::int32_t ToUtf8(const std::wstring& text, std::string& utf8) {
  SetLastErrorText(L"");
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
  if (size == 0) return Fail(L"Couldn't convert to UTF-8");
  utf8.assign(static_cast<std::size_t>(size) - 1, '\0');
  const int written = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, utf8.data(), size, nullptr, nullptr);
  if (written < 0) return Fail(L"Couldn't convert to UTF-8. WideCharToMultiByte returned negative number");
  if (written == 0) return Fail(L"Couldn't convert to UTF-8. WideCharToMultiByte returned 0");
  // An empty text fails here: an empty document is never written.
  if (utf8.c_str()[0] == '\0')
    return Fail(L"Couldn't convert to UTF-8. WideCharToMultiByte did not change the output string");
  return kSaved;
}

FileHandle OpenForText(const std::wstring& path) noexcept {
  FileHandle file = varnel::OpenToWrite(path.c_str(), OPEN_ALWAYS);
  DWORD error = GetLastError();
  if (file && error == ERROR_ALREADY_EXISTS) {
    const auto identity = varnel::IdentifyFile(file.Get());
    const bool plain = identity && identity->isPlain;
    if (plain && SetEndOfFile(file.Get())) return file;
    error = plain ? GetLastError() : ERROR_ACCESS_DENIED;
    file.Reset();
  }
  if (!file) SetOpenError(error);
  return file;
}

void SetOpenError(DWORD error) noexcept {
  SetErrorOfSystem(L"Couldn't open to write", error);
}

std::int32_t WriteText(const FileHandle& file, std::string_view utf8) noexcept {
  const auto size = static_cast<DWORD>(utf8.size());
  DWORD written = 0;
  const bool taken = size == utf8.size() && WriteFile(file.Get(), utf8.data(), size, &written, nullptr);
  if (taken && written == size) return kSaved;
  // A full volume may write the first bytes and report success.
  SetErrorOfSystem(L"Couldn't write", taken ? ERROR_DISK_FULL : GetLastError());
  return kSaveFailed;
}

std::int32_t SaveToFile(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                        std::uint32_t* detail, Transformation transform, AcceptTest accept) {
  SetLastErrorText(L"");
  const std::int32_t status = Save(path, text, encoding, transform, accept);
  if (detail && status != kSaveRefused) *detail = 0;
  return status;
}

void WriteToFile(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                 Transformation transform, AcceptTest accept) {
  std::uint32_t detail = 0;
  const std::int32_t status = SaveToFile(path, text, encoding, &detail, transform, accept);
  if (status < 0) throw ReadWriteException(status, detail);
}

}  // namespace AdvXMLParser
