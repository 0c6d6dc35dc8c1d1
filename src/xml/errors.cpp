#include "xml/errors.h"

#include "base/locks.h"

#include <windows.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace AdvXMLParser {
namespace {

constexpr std::size_t kCapacity = 160;  // characters; the runtime's longest text has half as many
constexpr std::size_t kMaxTexts = 32;   // two messages, each with the few error numbers of file operations
constexpr std::size_t kConversionFailed = static_cast<std::size_t>(-1);

// A message with the text of one error number. It does not change after it has been published, so readers
// need no lock.
struct ErrnoText {
  const wchar_t* message;
  int number;
  wchar_t text[kCapacity];
};

ErrnoText g_errnoTexts[kMaxTexts];
std::size_t g_errnoTextCount;
SRWLOCK g_errnoLock{};  // guards both

std::atomic<const wchar_t*> g_lastError{L""};

void Compose(ErrnoText& entry, const wchar_t* message, int number) noexcept {
  entry.message = message;
  entry.number = number;
  const std::size_t used = std::wcslen(message);
  std::wcscpy(entry.text, message);
  std::wcscpy(entry.text + used, L": ");
  const char* const reason = std::strerror(number);
  if (std::mbstowcs(nullptr, reason, 0) == kConversionFailed) return;
  wchar_t wide[kCapacity] = {};
  if (std::mbstowcs(wide, reason, kCapacity - 1) == kConversionFailed) return;
  std::wcsncat(entry.text, wide, kCapacity - used - 3);
}

// Maps Win32 error codes to errno as the C runtime's own file functions do.
int ErrnoOf(unsigned long error) noexcept {
  if (error >= ERROR_WRITE_PROTECT && error <= ERROR_SHARING_BUFFER_EXCEEDED) return EACCES;
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_NO_MORE_FILES:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_FILENAME_EXCED_RANGE:
      return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_CURRENT_DIRECTORY:
    case ERROR_NETWORK_ACCESS_DENIED:
    case ERROR_CANNOT_MAKE:
    case ERROR_FAIL_I24:
    case ERROR_DRIVE_LOCKED:
    case ERROR_SEEK_ON_DEVICE:
    case ERROR_NOT_LOCKED:
    case ERROR_LOCK_FAILED:
      return EACCES;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return EEXIST;
    case ERROR_TOO_MANY_OPEN_FILES:
      return EMFILE;
    case ERROR_ARENA_TRASHED:
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_INVALID_BLOCK:
    case ERROR_NOT_ENOUGH_QUOTA:
      return ENOMEM;
    case ERROR_DISK_FULL:
      return ENOSPC;
    case ERROR_BROKEN_PIPE:
      return EPIPE;
    case ERROR_INVALID_HANDLE:
    case ERROR_INVALID_TARGET_HANDLE:
      return EBADF;
    default:
      return EINVAL;
  }
}

// Returns "message: " and the C runtime's text for an error number; the message alone for want of room.
const wchar_t* TextWithErrno(const wchar_t* message, int number) noexcept {
  const varnel::ExclusiveLock lock(g_errnoLock);
  for (std::size_t i = 0; i < g_errnoTextCount; ++i) {
    const ErrnoText& entry = g_errnoTexts[i];
    if (entry.message == message && entry.number == number) return entry.text;
  }
  if (g_errnoTextCount == kMaxTexts) return message;
  ErrnoText& entry = g_errnoTexts[g_errnoTextCount];
  Compose(entry, message, number);
  ++g_errnoTextCount;
  return entry.text;
}

}  // namespace

const wchar_t* GetLastErrorText() noexcept {
  return g_lastError;
}

void SetLastErrorText(const wchar_t* message) noexcept {
  g_lastError = message;
}

void SetErrorOfSystem(const wchar_t* message, unsigned long error) noexcept {
  errno = ErrnoOf(error);
  SetLastErrorText(TextWithErrno(message, errno));
  SetLastError(error);
}

}  // namespace AdvXMLParser
