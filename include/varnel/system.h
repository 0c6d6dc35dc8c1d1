/* system.h - <windows.h> for the headers beside this one, in an order that works whatever a program includes
 * before and after it.
 *
 * Without WIN32_LEAN_AND_MEAN, <windows.h> brings <winsock.h>, and <winsock2.h> cannot follow that one. It
 * comes first here, and declares everything that <winsock.h> does. */
#pragma once

#if !defined(WIN32_LEAN_AND_MEAN) && !defined(_WINSOCKAPI_) && !defined(_WINDOWS_) && !defined(_INC_WINDOWS)
#include <winsock2.h>
#endif
#include <windows.h>
