#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// The formats in which the library writes its own values (docs/event-format.md).

// True for a signed 32-bit number in its shortest decimal form: no plus sign, no leading zeros, no -0.
[[nodiscard]] bool IsNumber(std::string_view text);
// Returns the time of a text like 2024-03-07T09:05:03 in the years 100 to 9999; nothing for any other text
// and for kNoTime.
[[nodiscard]] std::optional<std::chrono::sys_seconds> ParseTime(std::string_view text);
// True for twelve lower-case hexadecimal digits.
[[nodiscard]] bool IsHardwareAddress(std::string_view text);
// Returns the 4 bytes of an IPv4 address or the 16 of an IPv6 address; an empty text for any other text.
[[nodiscard]] std::string IpAddressBytes(const std::string& text);
// True for an IPv4 or IPv6 address.
[[nodiscard]] inline bool IsIpAddress(const std::string& text) {
  return !IpAddressBytes(text).empty();
}

// Written for a date that is none.
constexpr std::string_view kNoTime = "0000-00-00T00:00:00";

}  // namespace varnel::tool
