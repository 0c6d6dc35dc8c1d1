#pragma once

#include "base/handles.h"

#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// The trace mailslot. Every process may write to it; one program of the machine at a time can own it.
class TraceSlot {
 public:
  // Throws Failure if another program owns it or Windows refuses to create it.
  TraceSlot();

  // Returns the next message, whole and of any length; valid until the next call. Returns nothing if none
  // arrives within 200 milliseconds.
  [[nodiscard]] std::optional<std::string_view> Next();

 private:
  FileHandle mailslot_;
  std::string buffer_;
};

// True if a program owns the trace mailslot.
[[nodiscard]] bool IsTraceRead();

}  // namespace varnel::tool
