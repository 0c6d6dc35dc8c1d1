/* system.h - includes <windows.h> so that a program may include <winsock2.h> before or after it.
 *
 * Without WIN32_LEAN_AND_MEAN, <windows.h> includes <winsock.h>, after which <winsock2.h> does not compile.
 * So this header includes <winsock2.h> first; it declares everything that <winsock.h> declares. */
#pragma once

/* C: declares the method macros, also those of Windows' own interfaces. */
#if !defined(__cplusplus) && !defined(COBJMACROS)
#define COBJMACROS
#endif
#if !defined(WIN32_LEAN_AND_MEAN) && !defined(_WINSOCKAPI_) && !defined(_WINDOWS_) && !defined(_INC_WINDOWS)
#include <winsock2.h>
#endif
#include <windows.h>
