// Outside Windows: what asks this machine answers with one line.

#include "commands/commands.h"

namespace varnel::tool {
namespace {

Failure WindowsOnly(const std::string& command,
                    const std::string& remedy = "run it on the machine in question") {
  return Failure("varnel " + command + " asks this Windows machine and works on Windows only; " + remedy);
}

}  // namespace

Status RunDoctor(const DoctorOptions&) {
  throw WindowsOnly("doctor");
}

Status RepairTrace() {
  throw WindowsOnly("doctor");
}

Status RunSend(const SendOptions&) {
  throw WindowsOnly("send");
}

Status RunLoad(const std::string&) {
  throw WindowsOnly("load");
}

Status RunTrace(const TraceOptions&) {
  throw WindowsOnly("trace");
}

Status ExplainEvent(const ExplainOptions&) {
  throw WindowsOnly("explain without --code");
}

std::vector<NativePath> DefaultEventFolders(const std::string& command) {
  throw WindowsOnly(command + " without a path", "pass files or folders");
}

MachineTexts DescribeMachine() {
  return {};
}

}  // namespace varnel::tool
