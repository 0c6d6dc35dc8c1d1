#pragma once

#include <windows.h>

#include <string>

namespace varnel {

// "2024-03-07T09:05:03": the record as it stands, without range checks or time-zone arithmetic. Milliseconds
// and day of week are not used; a field wider than its place is written in full. Throws std::bad_alloc.
[[nodiscard]] std::wstring FormatTimeText(const SYSTEMTIME& time);

}  // namespace varnel
