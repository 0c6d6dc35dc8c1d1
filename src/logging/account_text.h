#pragma once

#include <cstddef>

namespace varnel {

constexpr std::size_t kAccountCapacity = 260;  // bytes, terminator included

// Writes "DOMAIN\name" of the account that the calling thread acts as, with "*" behind it when the thread
// impersonates, into `buffer` of `capacity` bytes, cut to fit and always terminated. When the account cannot
// be found out the text is the failing step and its error number instead: "OTT 5", "OPT 5", "GTI 5" or "LAS
// 1332".
void GetLogUserName(char* buffer, std::size_t capacity) noexcept;

}  // namespace varnel
