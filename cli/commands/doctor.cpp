// varnel doctor: finds out why events do not arrive.

#include "commands/commands.h"
#include "console/console.h"
#include "console/json_text.h"
#include "console/streams_windows.h"
#include "doctor/checks.h"
#include "varnel/varnel.hpp"

#include <algorithm>
#include <iterator>

namespace varnel::tool {
namespace {

struct Look {
  const char* word;
  const char* colour;
};
constexpr Look kLooks[] = {{"ok", "\x1b[32m"}, {"warning", "\x1b[33m"}, {"failure", "\x1b[31m"}};

const Look& LookOf(State state) {
  return kLooks[static_cast<std::size_t>(state)];
}

Rows Examine(const DoctorOptions& options) {
  const SaveMutex mutex = CheckSaveMutex();
  Rows all;
  const auto add = [&all](Rows rows) { std::move(rows.begin(), rows.end(), std::back_inserter(all)); };
  add(CheckRegistration(options.seconds));
  add(CheckRegistryPlaces());
  add(CheckAgent());
  add(CheckFolders(ToWide(options.softwareId), {options.backlogFiles, options.backlogMinutes}));
  add(CheckFilter());
  add(CheckLog());
  add({mutex.row});
  add(CheckProtection());
  if (options.write) add(TryReport({options.softwareId, options.dll, options.seconds, mutex.isHeld}));
  return all;
}

std::string AsJson(const Rows& rows) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Row& row : rows)
    list.push_back({{"check", row.name},
                    {"state", LookOf(row.state).word},
                    {"found", row.found},
                    {"remedy", row.remedy}});
  return JsonText(list, 2) + "\n";
}

std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

std::string AsLines(const Rows& rows, bool inColour) {
  std::size_t width = 0;
  for (const Row& row : rows) width = std::max(width, row.name.size());
  std::string lines;
  for (const Row& row : rows) {
    const Look& look = LookOf(row.state);
    const std::string word = Padded(look.word, 7);
    lines += (inColour ? look.colour + word + "\x1b[0m" : word) + "  " + Padded(row.name, width) + "  " +
             row.found;
    lines += row.remedy.empty() ? "\n" : ". " + row.remedy + "\n";
  }
  return lines;
}

}  // namespace

std::string DoctorLines(const DoctorOptions& options) {
  const ComScope com;
  return AsLines(Examine(options), false);
}

Status RunDoctor(const DoctorOptions& options) {
  const ComScope com;  // needed to load the type library
  const Rows rows = Examine(options);
  if (options.asJson) {
    Print(AsJson(rows));
  } else {
    const ConsoleColours colours;
    Print(AsLines(rows, static_cast<bool>(colours)));
  }
  State worst = State::kOk;
  for (const Row& row : rows) worst = std::max(worst, row.state);
  constexpr Status kStatus[] = {kDone, kFound, kFailed};
  return kStatus[static_cast<std::size_t>(worst)];
}

}  // namespace varnel::tool
