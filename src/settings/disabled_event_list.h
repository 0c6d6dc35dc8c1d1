#pragma once

#include <cstdint>

namespace varnel {

// Whether an event filter's text lists the event as disabled: `content` is zero-terminated, `size` counts its
// bytes without the terminator (0 when the text was not read whole). The list follows the first
// "DisabledEvent", wherever it stands; its entries are separated by ";" alone and compared as exact text, so
// blanks and line ends belong to entries.
[[nodiscard]] bool ListsAsDisabled(const char* content, std::uint32_t size, std::int32_t eventId) noexcept;

}  // namespace varnel
