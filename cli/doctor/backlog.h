#pragma once

#include "doctor/checks.h"
#include "machine/agent_folders.h"

#include <string>
#include <vector>

namespace varnel::tool {

// The files in an event folder that have not been collected.
struct Backlog {
  std::uint64_t files = 0;
  std::uint64_t minutes = 0;             // age of the oldest file, from its last change
  std::vector<std::wstring> unfinished;  // names of files older than a minute without the document's end
  bool isSample = false;                 // only the oldest and newest files were opened
};

// Examines the folder: lists it once, and opens at most 500 files with two reads each.
[[nodiscard]] Backlog LookAtBacklog(const EventFolder& folder);

// Returns the row about the backlog of one event folder.
[[nodiscard]] Row CheckBacklog(const std::string& folderName, const EventFolder& folder,
                               const BacklogLimits& limits);

}  // namespace varnel::tool
