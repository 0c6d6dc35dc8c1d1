#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace varnel {

// Settings of the agent on this machine. Every call reads the registry, so a change takes effect at the next
// call. A value that is missing or unreadable gives its default, which docs/settings.md has; no error is
// reported. Any thread may call.

// True if the management server manages the agent.
[[nodiscard]] bool IsAgentManaged() noexcept;

// The key of most settings and the key of EventsPath, below HKEY_LOCAL_MACHINE.
constexpr wchar_t kFrameworkKey[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\QRN\\Shared Components\\Framework";
constexpr wchar_t kEventParserKey[] = L"SOFTWARE\\Wow6432Node\\Kestrane\\Orbacon\\EventParser";

// Returns the size limit of event files: an encoded document must have fewer bytes than this.
[[nodiscard]] std::uint32_t ReadEventSizeLimit() noexcept;
// True if `bytes` is below ReadEventSizeLimit().
[[nodiscard]] bool EventSizeWithinLimit(std::uint64_t bytes) noexcept;

// Returns the lowest severity that makes an event a trigger event; nothing if the policy is off or has no
// threshold. The agent forwards trigger events at once.
[[nodiscard]] std::optional<std::int32_t> ReadEventTriggerThreshold() noexcept;
// Sets *triggerOut to 1 if an event of this severity is a trigger event, otherwise to 0. Always returns 0.
std::int32_t ReadEventTriggerPolicy(std::int32_t severity, std::uint32_t* triggerOut) noexcept;

// Returns the agent's GUID as the registry has it, cut to 500 characters; the all-zero GUID if there is none.
[[nodiscard]] std::wstring ReadAgentGuid();

// Returns the agent's address. Returns an empty text if the value is missing, empty, longer than 520 bytes
// (terminator included) or a placeholder, which begins with a capital "N".
[[nodiscard]] std::wstring ReadAgentIPAddress();

// The next three read a path into `path`, terminate it and fill the rest of the buffer with zeros. An empty
// value gives an empty path. They return false, with the buffer undefined, if the value cannot be read or
// does not fit.
constexpr std::size_t kPathCapacity = 260;  // characters, terminator included

// Reads the agent's data folder, which normally ends in a backslash.
[[nodiscard]] bool ReadDataPath(std::span<wchar_t> path) noexcept;
// Reads the folder of the management server's event parser.
[[nodiscard]] bool ReadEventsPath(std::span<wchar_t> path) noexcept;
// Reads the path of the self-protection service's client library. This one cuts a path that does not fit.
[[nodiscard]] bool ReadSelfProtectionClient(std::span<wchar_t> path) noexcept;

}  // namespace varnel
