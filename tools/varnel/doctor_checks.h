#pragma once

#include "text.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

enum class State { kOk, kWarning, kFailure };

// One row of varnel doctor. Texts are for a person: UTF-8, printable, one line.
struct Check {
  std::string name;
  State state = State::kOk;
  std::string found;   // a clause without a full stop
  std::string remedy;  // whole sentences; empty when there is nothing to do
};
using Checks = std::vector<Check>;

// "1 file", "2 files"
inline std::string Counted(std::uint64_t number, const std::string& unit) {
  return std::to_string(number) + " " + unit + (number == 1 ? "" : "s");
}

// From which backlog on an event folder gets a warning.
struct BacklogLimits {
  std::uint64_t files = 1000;
  std::uint64_t minutes = 60;  // age of the oldest file
};

// Each checks one step on the way from a product's call to the reader of its event file, and changes nothing.
// `softwareId` is the product's identifier; `seconds` is the time that a DLL may take to load.
[[nodiscard]] Checks CheckRegistration(int seconds);
[[nodiscard]] Checks CheckRegistryPlaces();
[[nodiscard]] Checks CheckAgent();
[[nodiscard]] Checks CheckFolders(std::wstring_view softwareId, const BacklogLimits& limits);
[[nodiscard]] Checks CheckFilter();
[[nodiscard]] Checks CheckLog();
[[nodiscard]] Checks CheckProtection();

// The save mutex, waited for up to two seconds.
struct SaveMutex {
  Check check;
  bool isHeld = false;  // for all that time
};
[[nodiscard]] SaveMutex CheckSaveMutex();

// True if a DLL that is registered for 64-bit programs may be loaded here: it is at a full path where only
// administrators can write. Also true without a registration.
[[nodiscard]] bool IsRegisteredDllSafe();

// The trial report of varnel doctor --write.
struct TrialRequest {
  std::string softwareId;
  std::string dll;  // full path; empty: the registered class
  int seconds = 10;
  bool isSaveMutexHeld = false;
};
// Saves a report in a process of its own, which is ended after that time, looks for the file and removes it.
[[nodiscard]] Checks TryReport(const TrialRequest& request);

}  // namespace varnel::tool
