#pragma once

#include "support/library.h"

#include <set>
#include <string>

namespace varnel::test {

// Set by a test to send workers home.
constexpr wchar_t kStopEvent[] = L"VarnelStressStop";

// Gives a report one event with this mark and a text of this many characters; the text tells later whether a
// file holds all of it.
HRESULT FillMarked(IOrbaEventInf3& report, const wchar_t* softwareId, const std::wstring& mark,
                   std::size_t bodySize);

// What stands in these folders. Every file is either whole, with a mark of its own, or counted as cut.
struct Reports {
  std::set<std::string> marks;
  std::size_t files = 0;
  std::size_t cut = 0;
};
Reports ReadReports(const std::initializer_list<std::wstring>& folders);

// The worker program's arguments: name, threads, reports of each thread, body size, folder for notes. Each
// thread saves that many reports, for the server and for the agent by turns, or fewer when it is sent home,
// and notes each that was saved. Returns 0 when every call succeeded.
int RunWorker(char** arguments);

}  // namespace varnel::test
