#pragma once

#include <windows.h>

#include <string>

namespace varnel {

// 0x80000008: Windows Sockets could not be started.
constexpr HRESULT kSocketsUnavailable = static_cast<HRESULT>(0x80000008);

// Assigns the numeric text of the address that the machine's own name resolves to; of several the last,
// whatever its family. Leaves `address` as it was and returns S_OK when the name does not resolve. Returns
// kSocketsUnavailable when sockets cannot be started. Starts and cleans up sockets itself; any thread.
// std::bad_alloc.
HRESULT GetHostNameAndAddress(std::wstring& address);

}  // namespace varnel
