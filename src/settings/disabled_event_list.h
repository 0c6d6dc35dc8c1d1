#pragma once

#include <cstdint>
#include <string_view>

namespace varnel {

// Enumerates the entries of the list in an event filter's text. `content` is zero-terminated and borrowed;
// `size` is its length in bytes without the terminator, or 0 if the file could not be read completely.
// The list begins at the first digit after the first "DisabledEvent" in the text; if `size` is 0, directly
// after that word. Only ";" separates entries, so blanks and line ends are part of an entry. An entry of more
// than 15 characters is returned in pieces of 15.
class DisabledEntries {
 public:
  DisabledEntries(const char* content, std::uint32_t size) noexcept;

  // Sets `entry` to the next entry, which may be empty. Returns false, with `entry` unchanged, at the end.
  [[nodiscard]] bool Next(std::string_view& entry) noexcept;

 private:
  const char* at_;  // null without a list
};

// True if an entry of the list equals the decimal text of `eventId`.
[[nodiscard]] bool ListsAsDisabled(const char* content, std::uint32_t size, std::int32_t eventId) noexcept;

}  // namespace varnel
