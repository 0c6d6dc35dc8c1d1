#include "selection/query_values.h"

#include "eventfile/event_forms.h"

#include <charconv>
#include <string>
#include <utility>

namespace varnel::tool {
namespace {

using std::chrono::sys_seconds;

bool AreDigits(std::string_view text, std::size_t most) {
  return !text.empty() && text.size() <= most && text.find_first_not_of("0123456789") == text.npos;
}

std::int64_t ValueOf(std::string_view digits) {
  std::int64_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

// Returns the moment that is a text like 15m before now.
std::optional<sys_seconds> ParseAge(std::string_view text, sys_seconds now) {
  constexpr std::string_view kUnits = "smhdw";
  constexpr std::int64_t kSeconds[] = {1, 60, 3600, 86'400, 604'800};
  const std::size_t unit = text.empty() ? kUnits.npos : kUnits.find(text.back());
  if (unit == kUnits.npos) return std::nullopt;
  text.remove_suffix(1);
  if (!AreDigits(text, 9)) return std::nullopt;
  return now - std::chrono::seconds(ValueOf(text) * kSeconds[unit]);
}

std::optional<sys_seconds> ParseDateAndTime(std::string_view text) {
  constexpr std::size_t kDay = 10, kMinute = 16, kSecond = 19;  // lengths of a time up to there
  if (text.size() == kDay) return ParseTime(std::string(text) + "T00:00:00");
  if (text.ends_with('Z')) text.remove_suffix(1);
  std::chrono::seconds more(0);
  if (text.size() > kSecond && text[kSecond] == '.' && AreDigits(text.substr(kSecond + 1), text.npos)) {
    if (text.find_first_not_of('0', kSecond + 1) != text.npos) ++more;
    text = text.substr(0, kSecond);
  }
  std::string whole(text);
  if (whole.size() == kMinute) whole += ":00";
  if (whole.size() == kSecond && whole[kDay] == ' ') whole[kDay] = 'T';
  const std::optional<sys_seconds> time = ParseTime(whole);
  return time ? *time + more : time;
}

std::optional<std::int64_t> ParseNumber(std::string_view text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative) text.remove_prefix(1);
  if (!AreDigits(text, 10)) return std::nullopt;
  return isNegative ? -ValueOf(text) : ValueOf(text);
}

}  // namespace

std::optional<sys_seconds> ParseMoment(std::string_view text, sys_seconds now) {
  const auto today = std::chrono::floor<std::chrono::days>(now);
  if (text == "now") return now;
  if (text == "today") return today;
  if (text == "yesterday") return today - std::chrono::days(1);
  if (const auto age = ParseAge(text, now)) return age;
  return ParseDateAndTime(text);
}

std::optional<NumberRange> ParseRange(std::string_view text) {
  const std::size_t dots = text.find("..");
  const std::string_view first = text.substr(0, dots);
  const std::string_view last = dots == text.npos ? text : text.substr(dots + 2);
  NumberRange range;
  for (const auto& [bound, written] : {std::pair(&range.first, first), std::pair(&range.last, last)}) {
    if (written.empty()) continue;
    const std::optional<std::int64_t> number = ParseNumber(written);
    if (!number) return std::nullopt;
    *bound = *number;
  }
  if ((first.empty() && last.empty()) || range.first > range.last) return std::nullopt;
  return range;
}

}  // namespace varnel::tool
