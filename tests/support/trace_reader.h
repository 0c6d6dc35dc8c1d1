#pragma once

#include "base/handles.h"

#include <string>
#include <vector>

namespace varnel::test {

// Owns the trace mailslot, as the agent's trace viewer does.
class TraceReader {
 public:
  TraceReader();

  // Everything that has arrived since the last call: header and text of each record by turns.
  std::vector<std::string> ReadMessages();

 private:
  FileHandle mailslot_;
};

}  // namespace varnel::test
