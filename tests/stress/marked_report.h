#pragma once

#include "component/library.h"

#include <set>
#include <string>

namespace varnel::test {

constexpr wchar_t kServer[] = L"ORBASRVR_3500";
constexpr wchar_t kAgent[] = L"EXAMPLE__1000";

// Set by the test to send workers home.
constexpr wchar_t kStopEvent[] = L"VarnelStressStop";

// Gives a new report one event with this mark and a text of this many characters; the text tells later
// whether a file holds all of it.
HRESULT FillMarked(IOrbaEventInf3& report, const wchar_t* softwareId, const std::wstring& mark,
                   std::size_t bodySize);

// The mark of a report, empty when anything of it is missing or out of place.
std::string MarkOfWhole(const std::string& bytes);

// What stands in these folders. Every file is either whole, with a mark of its own, or counted as cut.
struct Reports {
  std::set<std::string> marks;
  std::size_t files = 0;
  std::size_t cut = 0;
};
Reports ReadReports(const std::initializer_list<std::wstring>& folders);

}  // namespace varnel::test
