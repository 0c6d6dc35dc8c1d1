#pragma once

#include "com/registration_script.h"

#include <windows.h>

#include <vector>

namespace varnel {

// Writes a script's keys below `root`. When a step fails, the script is undone as UnregisterKeys does it, an
// earlier registration by the same script included, and the failure returned.
HRESULT RegisterKeys(HKEY root, const std::vector<ScriptKey>& keys);

// Removes a script's keys below `root`; keys that are not there are no failure. Goes on after a failure and
// returns the first.
HRESULT UnregisterKeys(HKEY root, const std::vector<ScriptKey>& keys);

}  // namespace varnel
