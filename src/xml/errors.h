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

// Returns the text of the latest failure on any thread of the process. SaveToFile and ToUtf8 clear it when
// they begin; after a success of another function it is still there. The returned text is zero-terminated,
// never changes, and stays valid while the library is loaded.
const wchar_t* GetLastErrorText() noexcept;

// Sets the error text to a text that lives as long as the library.
void SetLastErrorText(const wchar_t* message) noexcept;
// Sets errno as the C runtime's file functions do after this Win32 error, the error text to "message: " and
// the C runtime's text for errno, and the thread's last error to `error`. `message` is a literal of fewer
// than 80 characters. If 32 such texts are stored already, the error text is the message alone.
void SetErrorOfSystem(const wchar_t* message, unsigned long error) noexcept;

}  // namespace AdvXMLParser
