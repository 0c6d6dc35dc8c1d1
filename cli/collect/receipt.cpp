#include "collect/receipt.h"

#include "eventfile/json_line.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace varnel::tool {
namespace {

constexpr std::uint64_t kMostNames = 10'000;

// Returns event.id of a line as a JSON text; an empty one for bytes that are no line.
std::string_view IdOf(std::string_view line) {
  constexpr std::string_view kEvent = "\"event\":{", kId = ",\"id\":";
  const std::size_t event = std::min(line.find(kEvent), line.size());
  const std::size_t name = line.find(kId, event);  // no JSON text has a quote without a backslash
  if (name == line.npos) return "\"\"";
  const std::size_t start = name + kId.size();
  std::size_t end = start + 1;
  while (end < line.size() && line[end] != '"') end += line[end] == '\\' ? 2U : 1U;
  return end < line.size() ? line.substr(start, end + 1 - start) : "\"\"";
}

void AppendElement(std::string& list, std::string_view json) {
  if (!list.empty()) list += ',';
  list += json;
}

// Returns a time like 2024-03-07T09:05:03.250Z.
std::string TimeText(WallTime time) {
  using namespace std::chrono;
  const sys_days day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss<WallTime::duration> clock(time - day);
  char text[40];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
  return text;
}

}  // namespace

std::uint64_t LineSums::Add(std::string_view line) {
  Sha256 sum;
  sum.Add(line);
  const std::string digest = sum.Finish().substr(0, 16);
  sum_.Add(line);
  sum_.Add("\n");
  last_ = IdOf(line);
  if (lines_++ == 0) first_ = last_;
  AppendElement(ids_, last_);
  AppendElement(digests_, "\"" + digest + "\"");
  std::uint64_t number = 0;
  std::from_chars(digest.data(), digest.data() + digest.size(), number, 16);
  return number;
}

LineSums::Mark LineSums::Save() const {
  return {lines_, ids_.size(), digests_.size(), sum_, last_};
}

void LineSums::Restore(const Mark& mark) {
  lines_ = mark.lines;
  ids_.resize(mark.ids);
  digests_.resize(mark.digests);
  sum_ = mark.sum;
  last_ = mark.last;
}

std::string LineSums::Members() const {
  Sha256 sum = sum_;
  std::string json = "\"lines\":" + std::to_string(lines_);
  if (lines_ > 0) json += ",\"first\":" + first_ + ",\"last\":" + last_;
  return json + ",\"sha256\":\"" + sum.Finish() + "\"";
}

std::string LineSums::Lists() const {
  return "\"digests\":[" + digests_ + "],\"ids\":[" + ids_ + "]";
}

bool NamedFiles::Add(std::string_view json) {
  ++total_;
  if (listed_ == kMostNames) return false;
  ++listed_;
  AppendElement(list_, json);
  return true;
}

std::string Receipt::Json(std::string_view segment, WallTime closed) const {
  std::string json;
  JsonLine line(json, json.max_size() / 2, JsonUse::kData);
  line.Text("segment", segment);
  json += "," + lines.Members();
  line.Text("opened", TimeText(opened));
  line.Text("closed", TimeText(closed));
  line.Raw("files", std::to_string(files));
  line.Raw("passed_over_total", std::to_string(passedOver.Total()));
  line.Raw("vanished_total", std::to_string(vanished.Total()));
  line.Raw("notices_lost", std::to_string(noticesLost));
  line.Raw("passed_over", passedOver.List());
  line.Raw("vanished", vanished.List());
  json += "," + lines.Lists();
  line.Close();
  return json + "\n";
}

}  // namespace varnel::tool
