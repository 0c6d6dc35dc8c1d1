// What varnel bundle says about this machine.

#include "commands/commands.h"
#include "console/wide_text.h"
#include "doctor/checks.h"
#include "settings/agent_settings.h"

#include <windows.h>

namespace varnel::tool {
namespace {

// Returns an empty text if Windows has no such name.
std::string ComputerName(COMPUTER_NAME_FORMAT form) {
  wchar_t name[256];
  DWORD size = 256;
  return GetComputerNameExW(form, name, &size) ? ToUtf8(NativePathView(name, size)) : std::string();
}

std::string Variable(const wchar_t* name) {
  wchar_t value[1024];
  const DWORD size = GetEnvironmentVariableW(name, value, 1024);
  return size < 1024 ? ToUtf8(NativePathView(value, size)) : std::string();
}

}  // namespace

MachineTexts DescribeMachine() {
  MachineTexts texts;
  texts.files = {{"doctor.txt", DoctorLines({})}, {"settings.txt", ListSettings()}};
  texts.machines = {ComputerName(ComputerNameNetBIOS), ComputerName(ComputerNameDnsHostname),
                    ComputerName(ComputerNameDnsFullyQualified), Variable(L"USERDOMAIN"),
                    Variable(L"USERDNSDOMAIN")};
  const std::string profile = Variable(L"USERPROFILE");
  texts.users = {Variable(L"USERNAME"), std::string(FileNameOf(profile))};
  texts.agent = ToUtf8(ReadAgentGuid());
  wchar_t user[257];
  if (DWORD size = 257; GetUserNameW(user, &size) && size > 0)
    texts.users.push_back(ToUtf8(NativePathView(user, size - 1)));
  return texts;
}

}  // namespace varnel::tool
