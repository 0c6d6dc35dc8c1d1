#pragma once

#include <cstdint>

namespace AdvXMLParser {

// Base of the XML library's exceptions.
// Not used by this DLL: part of the XML library.
class Exception {
 public:
  virtual ~Exception() = default;
};

// Thrown by WriteToFile. The reason is in GetLastErrorText().
// Not used by this DLL: part of the XML library.
class ReadWriteException final : public Exception {
 public:
  ReadWriteException(std::int32_t status, std::uint32_t detailValue) noexcept
      : code(status), detail(detailValue) {}

  std::int32_t code;  // the negative status of SaveToFile
  std::uint32_t detail;
};

// Returns the text of the latest failure on any thread of the process; empty after a success. It is
// zero-terminated, never changes, and stays valid while the library is loaded.
const wchar_t* GetLastErrorText() noexcept;

// Sets the error text to a text that lives as long as the library.
void SetLastErrorText(const wchar_t* message) noexcept;
// Maps a Win32 error to errno as the C runtime's file functions do, sets the error text to "message: " and
// the C runtime's text for errno, and makes the error the thread's last error. `message` lives as long as the
// library.
void SetErrorOfSystem(const wchar_t* message, unsigned long error) noexcept;

}  // namespace AdvXMLParser
