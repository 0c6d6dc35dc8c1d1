#pragma once

// The little of Windows that the fuzzed sources use. The registry is whatever the fuzzer makes of it.

#include <strings.h>

#include <cstdint>

using BYTE = std::uint8_t;
using DWORD = std::uint32_t;
using LSTATUS = std::int32_t;
using REGSAM = std::uint32_t;

struct HKEY__ {};
using HKEY = HKEY__*;
inline HKEY__ localMachine;
inline constexpr HKEY HKEY_LOCAL_MACHINE = &localMachine;
inline constexpr REGSAM KEY_READ = 0x20019;

inline constexpr LSTATUS ERROR_SUCCESS = 0;
inline constexpr LSTATUS ERROR_FILE_NOT_FOUND = 2;
inline constexpr LSTATUS ERROR_ACCESS_DENIED = 5;
inline constexpr LSTATUS ERROR_MORE_DATA = 234;

LSTATUS RegOpenKeyExW(HKEY parent, const wchar_t* path, DWORD options, REGSAM access, HKEY* key) noexcept;
LSTATUS RegQueryValueExW(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size) noexcept;
LSTATUS RegCloseKey(HKEY key) noexcept;

// An input runs on one thread, so locks need not lock.
struct SRWLOCK {};
inline void AcquireSRWLockShared(SRWLOCK*) noexcept {}
inline void ReleaseSRWLockShared(SRWLOCK*) noexcept {}
inline void AcquireSRWLockExclusive(SRWLOCK*) noexcept {}
inline void ReleaseSRWLockExclusive(SRWLOCK*) noexcept {}

inline int _stricmp(const char* a, const char* b) noexcept {
  return strcasecmp(a, b);
}
