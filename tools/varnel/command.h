#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace varnel::tool {

// What was chosen on the command line; returns a Status.
using Action = std::function<int()>;

// Each adds its command, with its options and an example, and sets `chosen` when the command is given.
void AddDoctor(CLI::App& app, Action& chosen);
void AddExplain(CLI::App& app, Action& chosen);
void AddTrace(CLI::App& app, Action& chosen);
void AddSend(CLI::App& app, Action& chosen);
void AddShow(CLI::App& app, Action& chosen);
void AddCheck(CLI::App& app, Action& chosen);

}  // namespace varnel::tool
