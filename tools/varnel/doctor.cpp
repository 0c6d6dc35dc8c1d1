// varnel doctor: finds out why events do not arrive.

#include "commands.h"
#include "console.h"
#include "doctor_checks.h"
#include "json_text.h"
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

Checks Examine(const DoctorOptions& options) {
  const SaveMutex mutex = CheckSaveMutex();
  Checks all;
  const auto add = [&all](Checks checks) {
    std::move(checks.begin(), checks.end(), std::back_inserter(all));
  };
  add(CheckRegistration(options.seconds));
  add(CheckRegistryPlaces());
  add(CheckAgent());
  add(CheckFolders(ToWide(options.softwareId), {options.backlogFiles, options.backlogMinutes}));
  add(CheckFilter());
  add(CheckLog());
  add({mutex.check});
  add(CheckProtection());
  if (options.write) add(TryReport({options.softwareId, options.dll, options.seconds, mutex.isHeld}));
  return all;
}

std::string AsJson(const Checks& checks) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Check& check : checks)
    list.push_back({{"check", check.name},
                    {"state", LookOf(check.state).word},
                    {"found", check.found},
                    {"remedy", check.remedy}});
  return JsonText(list, 2) + "\n";
}

std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

std::string AsLines(const Checks& checks, bool inColour) {
  std::size_t width = 0;
  for (const Check& check : checks) width = std::max(width, check.name.size());
  std::string lines;
  for (const Check& check : checks) {
    const Look& look = LookOf(check.state);
    const std::string word = Padded(look.word, 7);
    lines += (inColour ? look.colour + word + "\x1b[0m" : word) + "  " + Padded(check.name, width) + "  " +
             check.found;
    lines += check.remedy.empty() ? "\n" : ". " + check.remedy + "\n";
  }
  return lines;
}

}  // namespace

Status RunDoctor(const DoctorOptions& options) {
  const ComScope com;  // needed to load the type library
  const Checks checks = Examine(options);
  if (options.asJson) {
    Print(AsJson(checks));
  } else {
    const ConsoleColours colours;
    Print(AsLines(checks, static_cast<bool>(colours)));
  }
  State worst = State::kOk;
  for (const Check& check : checks) worst = std::max(worst, check.state);
  constexpr Status kStatus[] = {kDone, kFound, kFailed};
  return kStatus[static_cast<std::size_t>(worst)];
}

}  // namespace varnel::tool
