// For scripts/lint: the headers that our sources include, read as GCC reads them. What comes behind, clang
// then reads as Visual C++ does, _MSC_VER and all. Microsoft's own headers are not to be had on Linux, so the
// C++ library is GCC's and Windows is mingw-w64's. An include that is missing here is an error there.

#define _CRT_RAND_S

#include <_mingw.h>
#define __MINGW_IMPORT extern __attribute__((dllimport))

#include <winsock2.h>
#include <rpc.h>
#include <rpcndr.h>
// Only Visual C++ has types with identifiers.
#undef MIDL_INTERFACE
#define MIDL_INTERFACE(guid) struct __declspec(uuid(guid))
#undef DECLSPEC_UUID
#define DECLSPEC_UUID(guid) __declspec(uuid(guid))

#include <aclapi.h>
#include <emmintrin.h>
#include <io.h>
#include <iphlpapi.h>
#include <objbase.h>
#include <ocidl.h>
#include <ole2.h>
#include <oleauto.h>
#include <olectl.h>
#include <sddl.h>
#include <shellapi.h>
#include <softpub.h>
#include <wincrypt.h>
#include <wintrust.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <charconv>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

#undef GetExceptionInformation
#define GetExceptionInformation() static_cast<EXCEPTION_POINTERS*>(_exception_info())
#undef __GNUC__
