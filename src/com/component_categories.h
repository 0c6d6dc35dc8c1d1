#pragma once

#include "com/class_table.h"

namespace varnel {

// Write and remove what the system's category manager keeps about a class. Throw HResultError at the first
// failure. A class without categories needs no manager.
void RegisterCategories(const CLSID& clsid, std::span<const ComponentCategory> categories);
void UnregisterCategories(const CLSID& clsid, std::span<const ComponentCategory> categories);

}  // namespace varnel
