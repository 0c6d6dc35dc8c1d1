#pragma once

#include "base/handles.h"

#include <string>
#include <vector>

namespace varnel::test {

// Creates the trace mailslot, as the agent's trace viewer does, and reads it. Fails the test if another
// program owns it.
class TraceReader {
 public:
  TraceReader();

  // Returns the messages since the last call: the header and the text of each record in turn.
  std::vector<std::string> ReadMessages();

 private:
  FileHandle mailslot_;
};

}  // namespace varnel::test
