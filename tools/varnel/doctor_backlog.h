#pragma once

#include "agent_folders.h"
#include "doctor_checks.h"

#include <string>
#include <vector>

namespace varnel::tool {

// The files that wait in an event folder.
struct Backlog {
  std::uint64_t files = 0;
  std::uint64_t minutes = 0;             // since the oldest was written
  std::vector<std::wstring> unfinished;  // empty, or without the end of the document, for more than a minute
  bool isSample = false;                 // so many files that only the oldest and the newest were opened
};

// Costs one listing of the folder and two reads for each file that is opened, at most 500.
[[nodiscard]] Backlog LookAtBacklog(const EventFolder& folder);

[[nodiscard]] Check CheckBacklog(const std::string& folderName, const EventFolder& folder,
                                 const BacklogLimits& limits);

}  // namespace varnel::tool
