// varnel doctor: why does my event not arrive?

#include "commands.h"
#include "console.h"
#include "doctor_checks.h"
#include "json_text.h"
#include "varnel/varnel.hpp"

#include <algorithm>
#include <functional>

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
  const std::wstring softwareId = ToWide(options.softwareId);
  const std::function<Checks()> groups[] = {
      CheckRegistration,
      CheckAgent,
      [&] { return CheckFolders(softwareId); },
      CheckFilter,
      CheckLog,
      CheckSaveMutex,
      CheckProtection,
      [&] { return options.write ? TryReport(options.softwareId) : Checks(); }};
  Checks all;
  for (const auto& group : groups)
    for (Check& check : group()) all.push_back(std::move(check));
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
  const ComScope com;
  const LogLines lines;
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
