#include "xml/file_writer.h"

#include "xml/errors.h"

#include <windows.h>

#include <cstdio>
#include <memory>
#include <optional>

namespace AdvXMLParser {
namespace {

struct StreamCloser {
  void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

std::nullopt_t Fail(const wchar_t* reason) noexcept {
  SetLastErrorText(reason);
  return std::nullopt;
}

std::optional<std::string> ToUtf8(const std::wstring& text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
  if (size == 0) return Fail(L"Couldn't convert to UTF-8");
  std::string utf8(static_cast<std::size_t>(size) - 1, '\0');
  const int written = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, utf8.data(), size, nullptr, nullptr);
  if (written < 0) return Fail(L"Couldn't convert to UTF-8. WideCharToMultiByte returned negative number");
  if (written == 0) return Fail(L"Couldn't convert to UTF-8. WideCharToMultiByte returned 0");
  // An empty text ends here too: an empty document is never written.
  if (utf8.c_str()[0] == '\0')
    return Fail(L"Couldn't convert to UTF-8. WideCharToMultiByte did not change the output string");
  return utf8;
}

std::int32_t WriteBytes(const std::wstring& path, const std::string& bytes) noexcept {
  const Stream stream(_wfopen(path.c_str(), L"wb"));
  if (!stream) {
    SetErrorWithErrno(L"Couldn't open to write");
    return kSaveFailed;
  }
  // Unbuffered, so that a full disk shows here and not unseen in fclose.
  std::setvbuf(stream.get(), nullptr, _IONBF, 0);
  if (std::fwrite(bytes.data(), 1, bytes.size(), stream.get()) != bytes.size()) {
    SetErrorWithErrno(L"Couldn't write");
    return kSaveFailed;
  }
  return kSaved;
}

std::int32_t Save(const std::wstring& path, const std::wstring& text, std::int32_t encoding,
                  Transformation transform, AcceptTest accept) {
  if (encoding != kUtf8Encoding) {
    SetLastErrorText(L"unsupported encoding on write");
    return kSaveFailed;
  }
  const std::optional<std::string> utf8 = ToUtf8(text);
  if (!utf8) return kSaveFailed;
  if (accept && !accept(*utf8)) return kSaveRefused;
  if (!transform) return WriteBytes(path, *utf8);
  std::string transformed;
  return transform(*utf8, transformed) ? WriteBytes(path, transformed) : kSaveFailed;
}

}  // namespace

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
