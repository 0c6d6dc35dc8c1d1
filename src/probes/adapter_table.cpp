#include "probes/adapter_table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace varnel {
namespace {

constexpr std::uint32_t kTypeLoopback = 24;
constexpr std::uint32_t kTypeTunnel = 131;
constexpr std::uint32_t kStatusDown = 2;
constexpr std::size_t kMacBytes = 6;
constexpr std::size_t kGroups = 8;

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  if (text.empty()) return parts;
  for (;;) {
    const auto end = text.find(separator);
    parts.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::optional<unsigned> Number(std::string_view digits, int base, unsigned limit) noexcept {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
  if (error != std::errc() || end != digits.data() + digits.size() || value > limit) return std::nullopt;
  return value;
}

// Appends at least `digits` digits.
void AppendHex(std::string& text, unsigned number, std::size_t digits = 1) {
  const std::size_t start = text.size();
  for (; number != 0 || text.size() < start + digits; number /= 16)
    text.insert(text.begin() + static_cast<std::ptrdiff_t>(start), "0123456789abcdef"[number % 16]);
}

// Returns the text with "a.b.c.d" at its end replaced by two hexadecimal groups.
std::string WithoutIPv4Tail(std::string_view text) {
  const auto tail = text.rfind(':') + 1;
  const auto bytes = Split(text.substr(tail), '.');
  if (bytes.size() != 4) return std::string(text);
  std::array<unsigned, 4> numbers{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto number = Number(bytes[i], 10, 255);
    if (!number) return std::string(text);
    numbers[i] = *number;
  }
  std::string groups(text.substr(0, tail));
  AppendHex(groups, numbers[0] * 256 + numbers[1]);
  groups += ':';
  AppendHex(groups, numbers[2] * 256 + numbers[3]);
  return groups;
}

std::optional<std::array<unsigned, kGroups>> GroupsOf(std::string_view text) {
  const auto parts = Split(text, ':');
  if (parts.size() != kGroups) return std::nullopt;
  std::array<unsigned, kGroups> groups{};
  for (std::size_t i = 0; i < kGroups; ++i) {
    const auto number = Number(parts[i], 16, 0xFFFF);
    if (!number) return std::nullopt;
    groups[i] = *number;
  }
  return groups;
}

}  // namespace

const Adapter* FindAdapterByAddress(std::string_view address, const CandidateTable& table) noexcept {
  for (const auto& [index, adapter] : table.adapters) {
    const auto carries = [&](const AdapterAddress& own) { return own.text == address; };
    if (std::any_of(adapter.addresses.begin(), adapter.addresses.end(), carries)) return &adapter;
  }
  return nullptr;
}

const Adapter* GetAdapterByIndex(const CandidateTable& table, std::uint32_t index) noexcept {
  const auto found = table.adapters.find(index);
  return found == table.adapters.end() ? nullptr : &found->second;
}

bool IsCandidate(std::uint32_t type, std::uint32_t status, bool includeLoopback) noexcept {
  return type != kTypeTunnel && (type != kTypeLoopback || includeLoopback) && status != kStatusDown;
}

std::string MacText(const std::uint8_t* bytes, std::size_t length) {
  std::string text;
  if (length == 0) return text;
  for (std::size_t i = 0; i < kMacBytes; ++i) AppendHex(text, i < length ? bytes[i] : 0, 2);
  return text;
}

std::string NormalizeIPv6(std::string_view text) {
  std::string plain = WithoutIPv4Tail(text.substr(0, text.find('%')));
  const auto gap = plain.find("::");
  if (gap == std::string::npos) return plain;
  auto groups = Split(std::string_view(plain).substr(0, gap), ':');
  const auto after = Split(std::string_view(plain).substr(gap + 2), ':');
  while (groups.size() + after.size() < kGroups) groups.emplace_back("0");
  groups.insert(groups.end(), after.begin(), after.end());
  std::string normalized;
  for (const auto& group : groups) {
    if (!normalized.empty()) normalized += ':';
    normalized += group;
  }
  return normalized;
}

std::string IPv6Network(std::string_view address, std::string_view mask) {
  const auto addressGroups = GroupsOf(address);
  const auto maskGroups = GroupsOf(mask);
  if (!addressGroups || !maskGroups) return {};
  std::string network;
  for (std::size_t i = 0; i < kGroups; ++i) {
    if (i > 0) network += ':';
    AppendHex(network, (*addressGroups)[i] & (*maskGroups)[i]);
  }
  return network;
}

}  // namespace varnel
