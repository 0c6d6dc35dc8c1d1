#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// Bytes of a message that are taken; what is behind them is left out.
constexpr std::size_t kLongestTraceMessage = 4096;

// One line of the trace.
struct TraceRecord {
  std::uint32_t sequence = 0;  // 0 when its header has not been seen
  std::uint32_t missing = 0;   // how many of the same process have been lost before it
  std::size_t cut = 0;         // how many bytes at its end have been left out
  std::string line;            // UTF-8, as it was sent
  std::string stamp;
  char level = '?';
  std::string tag;
  std::string thread;
  std::string facility;
  std::string text;
};

// Puts messages of the mailslot together. Writers may send at the same time: each message is whole, but
// headers and texts of several records may be mixed, and each process counts its own records.
class TraceRecords {
 public:
  // The record that this message completes, if it does.
  [[nodiscard]] std::optional<TraceRecord> Take(std::string_view message);

 private:
  struct Header {
    std::uint32_t sequence;
    std::uint32_t length;
  };
  std::uint32_t CountMissing(std::uint32_t sequence);

  std::deque<Header> pending_;      // headers whose text has not come
  std::deque<std::uint32_t> next_;  // of each process that has been seen: the number of its next record
};

}  // namespace varnel::tool
