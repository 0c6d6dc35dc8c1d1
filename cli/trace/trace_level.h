#pragma once

#include "base/registry.h"
#include "machine/registry_value.h"

#include <optional>
#include <string>

namespace varnel::tool {

// Sets the library's log level and restores the old value in its destructor. Keeps the old value in the
// registry value LogLevelBeforeTrace too, in case the trace is killed; only accounts that may set the level
// can write it. The caller must own the trace mailslot.
class ScopedLogLevel {
 public:
  // Throws Failure if this account may not read or set the level.
  explicit ScopedLogLevel(int level);
  ~ScopedLogLevel();
  ScopedLogLevel(const ScopedLogLevel&) = delete;
  ScopedLogLevel& operator=(const ScopedLogLevel&) = delete;

 private:
  RegistryKey key_;
  bool madeKey_ = false;
  std::optional<RegistryValue> old_;
};

// Restores the log level that a killed trace replaced. Returns false if there is none. Throws Failure if this
// account may not set it. The caller must own the trace mailslot.
[[nodiscard]] bool RepairLogLevel();

// Returns the level that a killed trace replaced: its number, "not set" or "not a number". Returns an empty
// text if there is none, or if a trace runs. Throws Failure if the value cannot be read.
[[nodiscard]] std::string LevelBeforeKilledTrace();

}  // namespace varnel::tool
