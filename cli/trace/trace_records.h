#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// Bytes of a message that are kept; the rest is dropped.
constexpr std::size_t kLongestTraceMessage = 4096;

// One line of the trace.
struct TraceRecord {
  std::uint32_t sequence = 0;  // 0 if its header was not received
  std::uint32_t missing = 0;   // number of lost records of the same process before this one
  std::size_t cut = 0;         // number of bytes dropped at its end
  std::string line;            // the message up to its first zero, in UTF-8
  // The parts of the line. A line that the library did not write is `text` as a whole.
  std::string stamp;
  char level = '?';
  std::string tag;
  std::string thread;
  std::string facility;
  std::string text;
};

// Assembles records from messages of the mailslot. Several writers may send at the same time: a message
// arrives whole, but headers and texts of several records may be interleaved, and each process numbers its
// own records.
class TraceRecords {
 public:
  // Takes a message. Returns nothing for a header, and the record for a text, also if its header is missing.
  [[nodiscard]] std::optional<TraceRecord> Take(std::string_view message);

 private:
  struct Header {
    std::uint32_t sequence;
    std::uint32_t length;
  };
  std::uint32_t CountMissing(std::uint32_t sequence);

  std::deque<Header> pending_;      // headers whose text has not arrived
  std::deque<std::uint32_t> next_;  // the next sequence number of each known process
};

}  // namespace varnel::tool
