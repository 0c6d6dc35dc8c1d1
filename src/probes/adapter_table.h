#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace varnel {

// The machine's network adapters, and the rules that choose one. All texts are narrow ASCII.

struct AdapterAddress {
  std::string text;     // numeric; IPv6 in normalised form
  int family;           // 2: IPv4, 23: IPv6
  std::string mask;     // empty if unknown
  std::string network;  // empty if unknown
};

struct Adapter {
  std::string mac;  // twelve lower-case hexadecimal digits, or empty
  std::string name;
  std::uint32_t index;
  std::vector<AdapterAddress> addresses;
  bool isPpp;
};

struct CandidateTable {
  bool includeLoopback = false;               // set by the caller before the table is filled
  std::map<std::uint32_t, Adapter> adapters;  // by interface index
};

constexpr int kFamilyIPv4 = 2;
constexpr int kFamilyIPv6 = 23;

// Returns the adapter with the lowest interface index that has exactly this address text, or null.
[[nodiscard]] const Adapter* FindAdapterByAddress(std::string_view address,
                                                  const CandidateTable& table) noexcept;

// Returns the adapter with this interface index, or null.
[[nodiscard]] const Adapter* GetAdapterByIndex(const CandidateTable& table, std::uint32_t index) noexcept;

// True if an adapter of this interface type and operational status is a candidate: it is not a tunnel, is not
// down, and is not a loopback adapter unless `includeLoopback` is set.
[[nodiscard]] bool IsCandidate(std::uint32_t type, std::uint32_t status, bool includeLoopback) noexcept;

// Returns the first six bytes as hexadecimal text. A shorter address is padded with zeros; an empty one gives
// an empty text.
[[nodiscard]] std::string MacText(const std::uint8_t* bytes, std::size_t length);

// Returns the address without its zone suffix, with "::" expanded to groups of 0 and an IPv4 tail written as
// two groups. Other groups keep their letter case and leading zeros.
[[nodiscard]] std::string NormalizeIPv6(std::string_view text);

// Returns the bitwise AND of two normalised addresses as eight lower-case groups without leading zeros.
// Returns an empty text if either is not an address.
[[nodiscard]] std::string IPv6Network(std::string_view address, std::string_view mask);

}  // namespace varnel
