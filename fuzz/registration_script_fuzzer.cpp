#include "com/registration_script.h"
#include "fuzz_input.h"

namespace varnel::fuzz {
namespace {

// Values with everything that would need quoting in a script.
const ScriptVariables kVariables = {
    {"CLSID", L"{1-2}"}, {"MODULE", L"C:\\it's 100%\\{x}.dll"}, {"EMPTY", L""}, {"PERCENT", L"%"}};

std::string Quoted(std::wstring_view text) {
  std::string quoted = "'";
  for (const wchar_t c : text) {
    Require(c >= L' ' && c <= L'~', "names and texts are printable ASCII");
    if (c == L'%')
      quoted += "%PERCENT%";
    else
      quoted.append(c == L'\'' ? 2 : 1, static_cast<char>(c));
  }
  return quoted + "' ";
}

std::string TextOf(const ScriptValue& value) {
  return "= s " + Quoted(value.text);
}

void WriteKey(const ScriptKey& key, std::string& script) {
  Require(!key.name.empty(), "every key has a name");
  if (key.removal == KeyRemoval::kForce) script += "ForceRemove ";
  if (key.removal == KeyRemoval::kNever) script += "NoRemove ";
  script += Quoted(key.name);
  auto value = key.values.begin();
  if (value != key.values.end() && value->name.empty()) script += TextOf(*value++);
  if (value == key.values.end() && key.children.empty()) return;  // braces without need could nest too deep
  script += "{ ";
  for (; value != key.values.end(); ++value) {
    Require(!value->name.empty(), "only the first value may be the default value");
    script += "val " + Quoted(value->name) + TextOf(*value);
  }
  for (const auto& child : key.children) WriteKey(child, script);
  script += "} ";
}

std::string ScriptFor(const std::vector<ScriptKey>& keys) {
  std::string script = "HKCR { ";
  for (const auto& key : keys) WriteKey(key, script);
  return script + "}";
}

void Check(std::string_view script) {
  const auto keys = ParseRegistrationScript(script, kVariables);
  if (!keys) return;
  const std::string written = ScriptFor(*keys);
  const auto again = ParseRegistrationScript(written, kVariables);
  Require(again && ScriptFor(*again) == written, "keys that are written as a script are read again");
  Require(!ParseRegistrationScript(std::string(script) + " x", kVariables), "nothing may follow the script");
  Require(!ParseRegistrationScript(script.substr(0, script.rfind('}')), kVariables), "braces must be closed");
}

}  // namespace
}  // namespace varnel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  varnel::fuzz::Check({reinterpret_cast<const char*>(data), size});
  return 0;
}
