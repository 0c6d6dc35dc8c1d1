#include "settings/disabled_event_list.h"

#include <charconv>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string_view>

namespace varnel {
namespace {

constexpr std::string_view kListName = "DisabledEvent";
constexpr std::size_t kMaxEntry = 15;  // a longer entry is compared piece by piece

bool IsDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}

std::size_t EntryLength(const char* entry) noexcept {
  std::size_t length = 0;
  while (length < kMaxEntry && entry[length] != ';' && entry[length] != '\0') ++length;
  return length;
}

}  // namespace

bool ListsAsDisabled(const char* content, std::uint32_t size, std::int32_t eventId) noexcept {
  char digits[12];
  const auto formatted = std::to_chars(std::begin(digits), std::end(digits), eventId);
  const std::string_view wanted(digits, static_cast<std::size_t>(formatted.ptr - digits));

  const char* at = std::strstr(content, kListName.data());
  if (!at) return false;
  at += kListName.size();
  while (static_cast<std::size_t>(at - content) < size && *at != '\0' && !IsDigit(*at)) ++at;
  while (*at != '\0') {
    const std::size_t length = EntryLength(at);
    if (std::string_view(at, length) == wanted) return true;
    at += length;
    if (*at == ';') ++at;
  }
  return false;
}

}  // namespace varnel
