#pragma once

#include "com/registration_script.h"

#include <windows.h>

#include <vector>

namespace varnel {

// Writes the script's keys below `root`. If a step fails, calls UnregisterKeys, which also removes an earlier
// registration by the same script, and returns the failure.
HRESULT RegisterKeys(HKEY root, const std::vector<ScriptKey>& keys);

// Removes the script's keys below `root`. A missing key is not a failure. Continues after a failure and
// returns the first one.
HRESULT UnregisterKeys(HKEY root, const std::vector<ScriptKey>& keys);

}  // namespace varnel
