#include "settings/disabled_event_list.h"

#include <charconv>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace varnel {
namespace {

constexpr std::string_view kListName = "DisabledEvent";
constexpr std::size_t kMaxEntry = 15;

bool IsDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}

std::size_t EntryLength(const char* entry) noexcept {
  std::size_t length = 0;
  while (length < kMaxEntry && entry[length] != ';' && entry[length] != '\0') ++length;
  return length;
}

}  // namespace

DisabledEntries::DisabledEntries(const char* content, std::uint32_t size) noexcept
    : at_(std::strstr(content, kListName.data())) {
  if (!at_) return;
  at_ += kListName.size();
  while (static_cast<std::size_t>(at_ - content) < size && *at_ != '\0' && !IsDigit(*at_)) ++at_;
}

bool DisabledEntries::Next(std::string_view& entry) noexcept {
  if (!at_ || *at_ == '\0') return false;
  entry = {at_, EntryLength(at_)};
  at_ += entry.size();
  if (*at_ == ';') ++at_;
  return true;
}

bool ListsAsDisabled(const char* content, std::uint32_t size, std::int32_t eventId) noexcept {
  char digits[12];
  const auto formatted = std::to_chars(std::begin(digits), std::end(digits), eventId);
  const std::string_view wanted(digits, static_cast<std::size_t>(formatted.ptr - digits));

  DisabledEntries entries(content, size);
  for (std::string_view entry; entries.Next(entry);)
    if (entry == wanted) return true;
  return false;
}

}  // namespace varnel
