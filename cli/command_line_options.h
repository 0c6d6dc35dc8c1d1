#pragma once

#include "commands/commands.h"

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace varnel::tool {

// The options of all commands, and the command that was selected. Every program has all commands, so that
// help and messages name them; outside Windows those of kMachine say only that they work on Windows.
struct Chosen {
  DoctorOptions doctor;
  ExplainOptions explain;
  SendOptions send;
  ShowOptions show;
  CollectOptions collect;
  CompareOptions compare;
  CheckOptions check;
  ReconcileOptions reconcile;
  BundleOptions bundle;
  CatalogueCheckOptions catalogueCheck;
  GenerateOptions generate;
  DiffOptions diff;
  CoverOptions cover;
  VerifyOptions verify;
  TraceOptions trace;
  std::string dll;
  std::function<Status()> run;
};

// Adds the commands for event files. Their options are stored in `chosen`, which must outlive `app`.
void AddFileCommands(CLI::App& app, Chosen& chosen);

}  // namespace varnel::tool
