#pragma once

#include "agent_folders.h"
#include "report_json.h"
#include "varnel/varnel.hpp"

#include <string>
#include <vector>

namespace varnel::tool {

// Returns S_OK when the library makes a report object, otherwise its result.
[[nodiscard]] HRESULT TryObject(const Library& library);

// Returns that DLL (full path, UTF-8); for an empty path the registered class, as products get it. Throws
// Error. Wants COM on the thread.
[[nodiscard]] Library OpenLibrary(const std::string& dll);

// Saves that many reports of this text and returns the NewFiles of their folder. Throws Error.
[[nodiscard]] std::vector<std::wstring> SaveReport(const Library& library, const ReportText& text,
                                                   Unmanaged unmanaged = Unmanaged::kDrop, int count = 1);

// Returns the full paths of the files that are not among `before`; other programs save in the folder, too.
[[nodiscard]] std::vector<std::wstring> NewFiles(const EventFolder& folder,
                                                 const std::vector<FolderFile>& before);

}  // namespace varnel::tool
