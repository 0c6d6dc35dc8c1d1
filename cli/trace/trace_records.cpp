#include "trace/trace_records.h"

#include "console/wide_text.h"
#include "logging/line_outputs.h"

#include <algorithm>
#include <cstring>

namespace varnel::tool {
namespace {

// A larger gap between two numbers means another process, not lost records.
constexpr std::uint32_t kFarthest = 10'000;
constexpr std::size_t kMostPending = 1'000;
constexpr std::size_t kMostProcesses = 1'000;

// Removes the next word and its blank from `rest` and returns the word; an empty text if there is no blank.
std::string_view TakeWord(std::string_view& rest) {
  const std::size_t blank = rest.find(' ');
  if (blank == rest.npos) return {};
  const std::string_view word = rest.substr(0, blank);
  rest.remove_prefix(blank + 1);
  return word;
}

// Removes a facility, which is padded with blanks to eight characters or is longer, and returns it.
std::string_view TakeFacility(std::string_view& rest) {
  constexpr std::size_t kWidth = 8;
  if (rest.size() <= kWidth || rest[kWidth] != ' ') return TakeWord(rest);
  const std::string_view facility = rest.substr(0, kWidth);
  rest.remove_prefix(kWidth + 1);
  return facility.substr(0, facility.find_last_not_of(' ') + 1);
}

bool IsThread(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

// Splits a line into stamp, level, tag, thread, facility and text. A line that the library did not write
// becomes the text as a whole.
void TakeApart(TraceRecord& record) {
  std::string_view rest = record.line;
  const std::string_view date = TakeWord(rest);
  const std::string_view time = TakeWord(rest);
  const std::string_view level = TakeWord(rest);
  const std::string_view tag = TakeWord(rest);
  rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  const std::string_view thread = TakeWord(rest);
  const std::string_view facility = TakeFacility(rest);
  if (date.empty() || time.empty() || level.size() != 1 || !IsThread(thread) || facility.empty()) {
    record.text = record.line;
    return;
  }
  record.stamp = std::string(date) + ' ' + std::string(time);
  record.level = level[0];
  record.tag = tag;
  record.thread = thread;
  record.facility = facility;
  record.text = rest;
}

}  // namespace

std::optional<TraceRecord> TraceRecords::Take(std::string_view message) {
  TraceHeader header;
  if (message.size() == sizeof(header)) {
    std::memcpy(&header, message.data(), sizeof(header));
    if (header.firstConstant == 1 && header.secondConstant == 1) {
      if (pending_.size() == kMostPending) pending_.pop_front();
      pending_.push_back({header.sequence, header.textLength});
      return std::nullopt;
    }
  }
  TraceRecord record;
  const auto found = std::find_if(pending_.begin(), pending_.end(),
                                  [&](const Header& each) { return each.length == message.size(); });
  if (found != pending_.end()) {
    record.sequence = found->sequence;
    record.missing = CountMissing(found->sequence);
    pending_.erase(found);
  }
  if (message.size() > kLongestTraceMessage) record.cut = message.size() - kLongestTraceMessage;
  message.remove_suffix(record.cut);
  record.line = ToUtf8(FromAnsi(message.substr(0, message.find('\0'))));
  TakeApart(record);
  return record;
}

std::uint32_t TraceRecords::CountMissing(std::uint32_t sequence) {
  std::uint32_t* nearest = nullptr;
  for (std::uint32_t& next : next_)
    if (sequence - next <= kFarthest && (!nearest || sequence - next < sequence - *nearest)) nearest = &next;
  // Takes this for the first record of a new process.
  if (!nearest || (sequence == 1 && *nearest != 1)) {
    if (next_.size() == kMostProcesses) next_.pop_front();
    next_.push_back(sequence + 1);
    return 0;
  }
  const std::uint32_t missing = sequence - *nearest;
  *nearest = sequence + 1;
  return missing;
}

}  // namespace varnel::tool
