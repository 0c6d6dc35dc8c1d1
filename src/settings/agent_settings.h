#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace varnel {

// What the agent on this machine has set. Every call reads the registry afresh, so a change takes effect at
// the next operation; nothing is cached. Any thread may call at any time. A value that cannot be read gives
// its default and is not reported.

// True when the management server manages the agent.
[[nodiscard]] bool IsAgentManaged() noexcept;

// The key with most of it, below HKEY_LOCAL_MACHINE.
constexpr wchar_t kFrameworkKey[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\QRN\\Shared Components\\Framework";

// Bytes that an encoded document must stay below.
[[nodiscard]] std::uint32_t ReadEventSizeLimit() noexcept;
// Whether a document of so many encoded bytes may be written.
[[nodiscard]] bool EventSizeWithinLimit(std::uint64_t bytes) noexcept;

// The least severity of events that are forwarded at once; nothing when none is.
[[nodiscard]] std::optional<std::int32_t> ReadEventTriggerThreshold() noexcept;
// Sets *triggerOut to 1 when an event of this severity is to be forwarded at once, else to 0. Always returns
// 0.
std::int32_t ReadEventTriggerPolicy(std::int32_t severity, std::uint32_t* triggerOut) noexcept;

// The agent's identity, cut at 500 characters; the all-zero GUID when there is none.
[[nodiscard]] std::wstring ReadAgentGuid();

// The address that the agent has been given, or an empty text when it has none: absent, unusable, or a
// placeholder that begins with "N".
[[nodiscard]] std::wstring ReadAgentIPAddress();

// Paths that the agent has set, each into a whole buffer, zero-terminated and padded with zeros. False, with
// the buffer undefined, when the value cannot be read or is too long for the buffer.
constexpr std::size_t kPathCapacity = 260;  // characters, terminator included: what most operations can use

// The agent's own folder; it ends in a backslash when the agent has written it.
[[nodiscard]] bool ReadDataPath(std::span<wchar_t> path) noexcept;
// The folder of the management server's event parser.
[[nodiscard]] bool ReadEventsPath(std::span<wchar_t> path) noexcept;
// The self-protection service's client library; a longer path is cut.
[[nodiscard]] bool ReadSelfProtectionClient(std::span<wchar_t> path) noexcept;

}  // namespace varnel
