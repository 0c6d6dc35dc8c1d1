#pragma once

#include <windows.h>

#include <string>

namespace varnel {

// Windows Sockets could not be started.
constexpr HRESULT kSocketsUnavailable = static_cast<HRESULT>(0x80000008);

// Resolves the machine's own name and sets `address` to the numeric text of the last address, IPv4 or IPv6.
// Returns S_OK, also if the name does not resolve, with `address` unchanged; kSocketsUnavailable if sockets
// cannot be started. Any thread may call. Throws std::bad_alloc, and like LoadSystemLibrary.
HRESULT GetHostNameAndAddress(std::wstring& address);

}  // namespace varnel
