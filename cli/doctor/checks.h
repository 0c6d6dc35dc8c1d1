#pragma once

#include "console/wide_text.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

enum class State { kOk, kWarning, kFailure };

// One row of varnel doctor. Its texts are UTF-8, printable and of one line.
struct Row {
  std::string name;
  State state = State::kOk;
  std::string found;   // a clause without a full stop
  std::string remedy;  // whole sentences; empty if there is nothing to do
};
using Rows = std::vector<Row>;

// The backlog from which on an event folder gets a warning.
struct BacklogLimits {
  std::uint64_t files = 1000;
  std::uint64_t minutes = 60;  // age of the oldest file
};

// Each function checks one step between a product's call and the reader of its event file, changes nothing,
// and returns the rows. `softwareId` is the product's identifier; `seconds` is the time limit for loading a
// DLL. CheckRegistration throws like RunThisProgram, CheckLog like LevelBeforeKilledTrace.
[[nodiscard]] Rows CheckRegistration(int seconds);
[[nodiscard]] Rows CheckRegistryPlaces();
[[nodiscard]] Rows CheckAgent();
[[nodiscard]] Rows CheckFolders(std::wstring_view softwareId, const BacklogLimits& limits);
[[nodiscard]] Rows CheckFilter();
[[nodiscard]] Rows CheckLog();
[[nodiscard]] Rows CheckProtection();

// The state of the save mutex after a wait of up to two seconds.
struct SaveMutex {
  Row row;
  bool isHeld = false;  // by another program, during the whole wait
};
[[nodiscard]] SaveMutex CheckSaveMutex();

// Returns the registry values that the library reads, a line for each, below the names of their keys.
[[nodiscard]] std::string ListSettings();

// True if the DLL that is registered for 64-bit programs, on the machine and for this account, may be loaded
// by this program: it exists, at a full path that only administrators can change, and TreatAs does not
// redirect the class. Also true without a registration.
[[nodiscard]] bool IsRegisteredDllSafe();

// The trial report of varnel doctor --write.
struct TrialRequest {
  std::string softwareId;
  std::string dll;  // full path; empty: the registered class
  int seconds = 10;
  bool isSaveMutexHeld = false;
};
// Saves a trial report in a separate process, which is ended after the time limit; looks for its file and
// removes it. Saves none while the save mutex is held, or if IsRegisteredDllSafe is false and `dll` empty.
// Returns the row. Throws like RunThisProgram, and Error if Windows makes no GUID.
[[nodiscard]] Rows TryReport(const TrialRequest& request);

}  // namespace varnel::tool
