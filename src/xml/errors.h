#pragma once

#include <cstdint>

namespace AdvXMLParser {

// Base of the library's exceptions.
class Exception {
 public:
  virtual ~Exception() = default;
};

// Thrown by WriteToFile. It carries no text: the reason is what GetLastErrorText() gives.
class ReadWriteException final : public Exception {
 public:
  ReadWriteException(std::int32_t status, std::uint32_t detailValue) noexcept
      : code(status), detail(detailValue) {}

  std::int32_t code;  // the negative status of SaveToFile
  std::uint32_t detail;
};

// One error text for the whole process: that of the latest failure on any thread, empty after a success. The
// text is zero-terminated, never changes, and stays valid while the library is loaded.
const wchar_t* GetLastErrorText() noexcept;

// Both take a text that lives as long as the library.
void SetLastErrorText(const wchar_t* message) noexcept;
// Sets "message: " and the C runtime's text for the present errno.
void SetErrorWithErrno(const wchar_t* message) noexcept;
// Maps a Win32 error to errno, as the C runtime's own file functions do, and sets the same text. The error
// becomes the thread's last error.
void SetErrorOfSystem(const wchar_t* message, unsigned long error) noexcept;

}  // namespace AdvXMLParser
