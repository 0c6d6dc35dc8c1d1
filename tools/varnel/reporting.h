#pragma once

#include "report_json.h"
#include "varnel/varnel.hpp"

#include <string>
#include <vector>

namespace varnel::tool {

// Full path of a varnel.dll in this program's folder, whether there is one or not.
[[nodiscard]] std::wstring BesideThisProgram();

// S_OK when it gives report objects, otherwise what it answers.
[[nodiscard]] HRESULT TryObject(const Library& library);

// That DLL (full path, UTF-8); for an empty path the registered library and, where there is none, the one
// beside this program. Throws Error. Wants COM on the thread.
[[nodiscard]] Library OpenLibrary(const std::string& dll);

// Saves that many reports of this text and returns the full paths of the files that have appeared in their
// folder meanwhile; others save there, too. Throws Error.
[[nodiscard]] std::vector<std::wstring> SaveReport(const Library& library, const ReportText& text,
                                                   Unmanaged unmanaged = Unmanaged::kDrop, int count = 1);

}  // namespace varnel::tool
