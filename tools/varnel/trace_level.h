#pragma once

#include "base/registry.h"
#include "doctor_checks.h"

#include <optional>
#include <vector>

namespace varnel::tool {

// A value of the registry as it is there.
struct RawValue {
  DWORD type;
  std::vector<BYTE> data;
};

// Sets the library's log level and, at its end, what was there before. Because a trace can be killed, that is
// kept in the value LogLevelBeforeTrace beside it, which only accounts can write that may set the level
// anyway. The trace's mailslot has to be owned.
class ScopedLogLevel {
 public:
  // Throws Failure when this account may not set it.
  explicit ScopedLogLevel(int level);
  ~ScopedLogLevel();
  ScopedLogLevel(const ScopedLogLevel&) = delete;
  ScopedLogLevel& operator=(const ScopedLogLevel&) = delete;

 private:
  RegistryKey key_;
  bool madeKey_ = false;
  std::optional<RawValue> old_;
};

// Puts back the log level that a killed trace has left. False when none has left any. Throws Failure when
// this account may not. The trace's mailslot has to be owned.
[[nodiscard]] bool RepairLogLevel();

// A warning when a killed trace has left a log level; else nothing.
[[nodiscard]] Checks CheckTraceLevel();

}  // namespace varnel::tool
