#pragma once

#include "text.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::tool {

enum class State { kOk, kWarning, kFailure };

// What one look at this machine has found. Texts are for a person: UTF-8, printable, one line.
struct Check {
  std::string name;
  State state = State::kOk;
  std::string found;   // a clause without a full stop
  std::string remedy;  // whole sentences; empty when there is nothing to do
};
using Checks = std::vector<Check>;

// Each looks at one group of what lies between a product and the reader of its event files, and changes
// nothing. `softwareId` is the identifier whose way is looked at.
[[nodiscard]] Checks CheckRegistration();
[[nodiscard]] Checks CheckAgent();
[[nodiscard]] Checks CheckFolders(std::wstring_view softwareId);
[[nodiscard]] Checks CheckFilter();
[[nodiscard]] Checks CheckLog();
[[nodiscard]] Checks CheckSaveMutex();
// Whether somebody keeps it for two seconds.
[[nodiscard]] bool IsSaveMutexHeld();
[[nodiscard]] Checks CheckProtection();

// Makes a report through the real library, looks for its file and removes that file again. Wants COM on the
// thread.
[[nodiscard]] Checks TryReport(const std::string& softwareId);

}  // namespace varnel::tool
