#pragma once

namespace varnel {

// The facility under which everything about a report is logged.
constexpr wchar_t kFacility[] = L"Quorvel";

}  // namespace varnel
