#pragma once

#include "base/handles.h"

#include <cstdint>
#include <string>
#include <vector>

namespace varnel::test {

// One mailslot message, as it came.
using TraceMessage = std::string;

struct TraceRecord {
  std::uint32_t header[4];
  std::string text;  // with its terminating zero
};

// Owns the trace mailslot, as the agent's trace viewer does.
class TraceReader {
 public:
  TraceReader();

  // Everything that has arrived since the last call.
  std::vector<TraceMessage> ReadMessages();
  // The same as records of one writer: header and text by turns.
  std::vector<TraceRecord> ReadRecords();

 private:
  FileHandle mailslot_;
};

}  // namespace varnel::test
