#pragma once

#include <cstdint>
#include <string_view>

namespace varnel {

// The entries of an event filter's text: `content` is zero-terminated, `size` counts its bytes without the
// terminator (0 when the text was not read whole). The list follows the first "DisabledEvent", wherever it
// stands; its entries are separated by ";" alone, so blanks and line ends belong to entries. An entry of more
// than 15 characters comes piece by piece.
class DisabledEntries {
 public:
  DisabledEntries(const char* content, std::uint32_t size) noexcept;

  // The next entry; false when there is none.
  [[nodiscard]] bool Next(std::string_view& entry) noexcept;

 private:
  const char* at_;  // null without a list
};

// Whether one of them is the event's number, as exact text.
[[nodiscard]] bool ListsAsDisabled(const char* content, std::uint32_t size, std::int32_t eventId) noexcept;

}  // namespace varnel
