#pragma once

namespace AdvXMLParser {

// One text for the whole process: after a failure it is that of the latest failure on any thread. It has no
// lock, but it is always terminated, so reading it at any moment is safe; a text written just then may be
// mixed.

// The zero-terminated text; empty after a success. The pointer stays valid while the library is loaded.
const wchar_t* GetLastErrorText() noexcept;

void ClearLastErrorText() noexcept;
void SetLastErrorText(const wchar_t* message) noexcept;

// Sets "message: " and the C runtime's text for the present errno.
void SetErrorWithErrno(const wchar_t* message) noexcept;

}  // namespace AdvXMLParser
