#include "trace_records.h"

#include "logging/line_outputs.h"
#include "text.h"

#include <algorithm>
#include <cstring>

namespace varnel::tool {
namespace {

// More than that between two numbers is another process, not a loss.
constexpr std::uint32_t kFarthest = 10'000;
constexpr std::size_t kMostPending = 1'000;

void TakeApart(const std::regex& form, TraceRecord& record) {
  std::smatch parts;
  if (!std::regex_match(record.line, parts, form)) {
    record.text = record.line;
    return;
  }
  record.stamp = parts[1];
  record.level = *parts[2].first;
  record.tag = parts[3];
  record.thread = parts[4];
  record.facility = parts[5];
  record.facility.erase(record.facility.find_last_not_of(' ') + 1);
  record.text = parts[6];
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
  record.line = ToUtf8(FromAnsi(message.substr(0, message.find('\0'))));
  TakeApart(form_, record);
  return record;
}

std::uint32_t TraceRecords::CountMissing(std::uint32_t sequence) {
  std::uint32_t* nearest = nullptr;
  for (std::uint32_t& next : next_)
    if (sequence - next <= kFarthest && (!nearest || sequence - next < sequence - *nearest)) nearest = &next;
  // The first record of a process, as far as can be seen.
  if (!nearest || (sequence == 1 && *nearest != 1)) {
    next_.push_back(sequence + 1);
    return 0;
  }
  const std::uint32_t missing = sequence - *nearest;
  *nearest = sequence + 1;
  return missing;
}

}  // namespace varnel::tool
