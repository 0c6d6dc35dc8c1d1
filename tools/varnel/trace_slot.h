#pragma once

#include "base/handles.h"

#include <optional>
#include <string>
#include <string_view>

namespace varnel::tool {

// The trace's mailslot. Every process may write to it; one program of the machine at a time can own it.
class TraceSlot {
 public:
  // Throws Failure when another program owns it, or the system refuses it.
  TraceSlot();

  // The next message, whole, whatever its length; valid until the next call. Nothing when none has come
  // within 200 milliseconds.
  [[nodiscard]] std::optional<std::string_view> Next();

 private:
  FileHandle mailslot_;
  std::string buffer_;
};

// True while a program owns the trace's mailslot.
[[nodiscard]] bool IsTraceRead();

}  // namespace varnel::tool
