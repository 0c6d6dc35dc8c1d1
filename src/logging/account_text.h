#pragma once

#include <cstddef>

namespace varnel {

constexpr std::size_t kAccountCapacity = 260;  // bytes, terminator included

// Writes the account of the calling thread as "DOMAIN\name", or "DOMAIN\name*" if the thread impersonates,
// into `buffer` of `capacity` bytes. The text is cut to fit and always terminated. If a step fails, writes
// the step and its Win32 error instead: "OTT 5" (open the thread's token), "OPT 5" (open the process's
// token), "GTI 5" (get the token's information) or "LAS 1332" (look the account up).
void GetLogUserName(char* buffer, std::size_t capacity) noexcept;

}  // namespace varnel
