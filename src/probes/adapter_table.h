#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace varnel {

// What is known of the machine's network adapters, and how one is chosen. All texts are narrow ASCII.

struct AdapterAddress {
  std::string text;     // numeric; IPv6 in normalised form
  int family;           // 2: IPv4, 23: IPv6
  std::string mask;     // empty when not known
  std::string network;  // empty when not known
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

// The adapter of the lowest interface index that carries exactly this address text, or null.
[[nodiscard]] const Adapter* FindAdapterByAddress(std::string_view address,
                                                  const CandidateTable& table) noexcept;

// The adapter under that interface index, or null.
[[nodiscard]] const Adapter* GetAdapterByIndex(const CandidateTable& table, std::uint32_t index) noexcept;

// Whether an adapter of this interface type and operational status is a candidate: no tunnels, none that are
// down, loopback only on request.
[[nodiscard]] bool IsCandidate(std::uint32_t type, std::uint32_t status, bool includeLoopback) noexcept;

// The first six bytes in hexadecimal, shorter addresses padded with zeros; empty for an adapter without an
// address.
[[nodiscard]] std::string MacText(const std::uint8_t* bytes, std::size_t length);

// Drops the zone suffix and writes all eight groups: "::" becomes groups of 0, an IPv4 tail two groups.
// Groups keep their letters and zeros. A text without "::" and tail is only freed of its zone.
[[nodiscard]] std::string NormalizeIPv6(std::string_view text);

// The address's groups AND the mask's, both normalised: eight lower-case groups without leading zeros. Empty
// when either is not an address.
[[nodiscard]] std::string IPv6Network(std::string_view address, std::string_view mask);

}  // namespace varnel
