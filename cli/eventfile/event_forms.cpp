#include "eventfile/event_forms.h"

#include <charconv>
#include <cstdint>

namespace varnel::tool {
namespace {

// Returns the value of a text of digits.
unsigned Digits(std::string_view text) {
  unsigned value = 0;
  for (const char digit : text) value = value * 10 + static_cast<unsigned>(digit - '0');
  return value;
}

}  // namespace

bool IsNumber(std::string_view text) {
  std::int32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  char shortest[12];
  const auto written = std::to_chars(shortest, shortest + sizeof(shortest), value);
  return error == std::errc() && end == text.data() + text.size() &&
         text == std::string_view(shortest, static_cast<std::size_t>(written.ptr - shortest));
}

std::optional<std::chrono::sys_seconds> ParseTime(std::string_view text) {
  if (text.size() != kNoTime.size()) return std::nullopt;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (kNoTime[i] == '0' ? !isDigit : text[i] != kNoTime[i]) return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(Digits(text.substr(0, 4)))),
                                         std::chrono::month(Digits(text.substr(5, 2))),
                                         std::chrono::day(Digits(text.substr(8, 2)))};
  const unsigned hour = Digits(text.substr(11, 2));
  const unsigned minute = Digits(text.substr(14, 2));
  const unsigned second = Digits(text.substr(17, 2));
  if (!date.ok() || date.year() < std::chrono::year(100) || hour > 23 || minute > 59 || second > 59)
    return std::nullopt;
  return std::chrono::sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
         std::chrono::seconds(second);
}

bool IsHardwareAddress(std::string_view text) {
  return text.size() == 12 && text.find_first_not_of("0123456789abcdef") == text.npos;
}

}  // namespace varnel::tool
