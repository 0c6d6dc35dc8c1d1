#pragma once

#include "support/library.h"

#include <set>
#include <string>

namespace varnel::test {

// Gives a report one event with this mark and a text of this many characters, so that its file tells later
// whether all of it is there.
HRESULT FillMarked(IOrbaEventInf3& report, const wchar_t* softwareId, const std::wstring& mark,
                   std::size_t bodySize);

// What stands in these folders: the marks of the whole reports, and how many files are cut.
struct Reports {
  std::multiset<std::string> marks;
  std::size_t cut = 0;
};
Reports ReadReports(const std::initializer_list<std::wstring>& folders);

// The worker program's arguments: name, threads, reports of each thread, body size. Each thread saves that
// many reports, for the server and for the agent by turns, marked NAME-THREAD-NUMBER. Returns 0 when every
// call succeeded.
int RunWorker(char** arguments);

}  // namespace varnel::test
