#pragma once

#include "logging/log_files.h"

namespace varnel {

// Makes the slot's file, at the narrow full path `path`, its own backup 1 and opens a new one in its place;
// older backups move up by one, the oldest of `backupCount` is overwritten. The caller holds the slot's
// mutex. What cannot be moved or opened is passed over; the slot then holds whatever opening gave, and the
// next line tries again.
void RotateLogFile(LogFileSlot& slot, const char* path, std::int32_t backupCount) noexcept;

}  // namespace varnel
