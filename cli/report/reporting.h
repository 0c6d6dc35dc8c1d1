#pragma once

#include "machine/agent_folders.h"
#include "report/report_json.h"
#include "varnel/varnel.hpp"

#include <string>
#include <vector>

namespace varnel::tool {

// Returns S_OK if the library creates a report object, otherwise its result.
[[nodiscard]] HRESULT TryObject(const Library& library);

// Opens a DLL (full path, UTF-8), or for an empty path the registered class, as products use it. Throws
// Error. Needs COM on the thread.
[[nodiscard]] Library OpenLibrary(const std::string& dll);

// Saves `count` reports and returns the NewFiles of their folder. Throws Error.
[[nodiscard]] std::vector<std::wstring> SaveReport(const Library& library, const ReportText& text,
                                                   Unmanaged unmanaged = Unmanaged::kDrop, int count = 1);

// Returns the full paths of the folder's files whose names are not in `before`, a result of FilesOf. They may
// include files of other programs.
[[nodiscard]] std::vector<std::wstring> NewFiles(const EventFolder& folder,
                                                 const std::vector<FolderFile>& before);

}  // namespace varnel::tool
