// Rows about the event files that have not been collected: their number and age, and unfinished files.

#include "doctor/backlog.h"

#include "base/files.h"

#include <algorithm>
#include <string_view>

namespace varnel::tool {
namespace {

constexpr std::uint64_t kTicksOfMinute = 600'000'000;
constexpr std::size_t kMostLooks = 500;  // files to open, at about 0.3 ms each
constexpr std::uint64_t kInTheMaking = kTicksOfMinute;

std::uint64_t Now() {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  return static_cast<std::uint64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
}

std::uint64_t AgeOf(const FolderFile& file, std::uint64_t now) {
  return now > file.written ? now - file.written : 0;
}

std::string InWords(std::uint64_t minutes) {
  if (minutes < 120) return Counted(minutes, "minute");
  if (minutes < 48 * 60) return Counted(minutes / 60, "hour");
  return Counted(minutes / (24 * 60), "day");
}

// Reads the bytes at an offset, fewer at the end of the file. Returns false if they cannot be read.
bool ReadPart(HANDLE file, std::uint64_t at, char (&part)[512], std::string_view& bytes) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(at);
  place.OffsetHigh = static_cast<DWORD>(at >> 32);
  DWORD read = 0;
  if (!ReadFile(file, part, sizeof(part), &read, &place)) return false;
  bytes = {part, read};
  return true;
}

// Returns the name of the first element; an empty text if there is none.
std::string_view RootName(std::string_view head) {
  for (std::size_t at = head.find('<'); at < head.size(); at = head.find('<', at + 1)) {
    const std::string_view rest = head.substr(at + 1);
    if (rest.starts_with('?') || rest.starts_with('!')) continue;
    return rest.substr(0, rest.find_first_of(" \t\r\n/>"));
  }
  return {};
}

// True if the last tag closes the root: </Root>, or <Root/> alone.
bool ClosesRoot(std::string_view tail, std::string_view root) {
  tail = tail.substr(0, tail.find_last_not_of(" \t\r\n") + 1);
  const std::size_t start = tail.rfind('<');
  if (root.empty() || start == tail.npos) return false;
  const std::string_view tag = tail.substr(start);
  return tag == "</" + std::string(root) + ">" ||
         (tag.ends_with("/>") && RootName(tag) == root && RootName(tail) == root);
}

// True if the end of the document is missing. A file that cannot be opened is being written or read.
bool IsCut(const std::wstring& path, std::uint64_t size) {
  const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OPEN_REPARSE_POINT | kAnonymously, nullptr));
  char head[512];
  char tail[512];
  std::string_view first;
  std::string_view last;
  if (!file || !ReadPart(file.Get(), 0, head, first) ||
      !ReadPart(file.Get(), size > sizeof(tail) ? size - sizeof(tail) : 0, tail, last))
    return false;
  return !ClosesRoot(last, RootName(first));
}

}  // namespace

Backlog LookAtBacklog(const EventFolder& folder) {
  std::vector<FolderFile> files = FilesOf(folder);
  std::sort(files.begin(), files.end(),
            [](const FolderFile& one, const FolderFile& other) { return one.written < other.written; });
  Backlog backlog;
  backlog.files = files.size();
  if (files.empty()) return backlog;
  const std::uint64_t now = Now();
  backlog.minutes = AgeOf(files.front(), now) / kTicksOfMinute;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const FolderFile& file = files[i];
    const bool isLookedAt = i < kMostLooks / 2 || i + kMostLooks / 2 >= files.size();
    if (!isLookedAt) backlog.isSample = true;
    if (AgeOf(file, now) < kInTheMaking) continue;
    if (file.size == 0 || (isLookedAt && IsCut(folder.path + L"\\" + file.name, file.size)))
      backlog.unfinished.push_back(file.name);
  }
  return backlog;
}

Row CheckBacklog(const std::string& folderName, const EventFolder& folder, const BacklogLimits& limits) {
  const Backlog backlog = LookAtBacklog(folder);
  Row row{folderName + " backlog", State::kOk, "empty", ""};
  if (backlog.files == 0) return row;
  row.found = Counted(backlog.files, "file") + ", the oldest " + InWords(backlog.minutes) + " old";
  const auto warn = [&row](const std::string& remedy) {
    row.state = State::kWarning;
    if (!row.remedy.empty()) row.remedy += " ";
    row.remedy += remedy;
  };
  if (backlog.files >= limits.files || backlog.minutes >= limits.minutes) {
    row.found += ": they are not collected, or too slowly";
    warn(folder.ofServer
             ? "Make sure that the server's event parser runs and may delete files in this folder."
             : "Make sure that the agent's service runs and may delete files in this folder.");
  }
  if (!backlog.unfinished.empty()) {
    row.found += "; " + std::to_string(backlog.unfinished.size()) + " not finished, for example " +
                 Printable(backlog.unfinished.front());
    warn("Move unfinished files away: a program ended, or the disk was full, while it saved them.");
  }
  if (backlog.isSample)
    row.found += "; the files between the oldest and the newest " + std::to_string(kMostLooks / 2) +
                 " were checked by size only";
  return row;
}

}  // namespace varnel::tool
