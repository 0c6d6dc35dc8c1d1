#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel {

// A registration script lists the keys that a class writes below HKEY_CLASSES_ROOT, in the .rgs syntax:
//
//   HKCR
//   {
//     Name = s 'default value'
//     {
//       val 'ValueName' = s 'text'
//       ForceRemove SubKey          removed whole before it is written and on unregistration
//       NoRemove OtherKey           never removed itself
//     }
//   }
//
// Names and texts may be quoted with '; '' stands for one quote in them. %NAME% is replaced by a variable's
// value.

enum class KeyRemoval {
  kWhenEmpty,  // removed on unregistration if nothing but the script's keys is below it
  kForce,      // removed with everything below it, also before it is written
  kNever,
};

struct ScriptValue {
  std::wstring name;  // empty for a key's default value
  std::wstring text;
};

struct ScriptKey {
  std::wstring name;
  KeyRemoval removal = KeyRemoval::kWhenEmpty;
  std::vector<ScriptValue> values;
  std::vector<ScriptKey> children;
};

using ScriptVariables = std::map<std::string, std::wstring, std::less<>>;

// Parses a script and returns its top-level keys. Returns nothing for any fault: a root other than HKCR, a
// value type other than s, an unknown variable, an unclosed quote or brace, a byte outside ASCII, or text
// after the last brace.
[[nodiscard]] std::optional<std::vector<ScriptKey>> ParseRegistrationScript(std::string_view script,
                                                                            const ScriptVariables& variables);

}  // namespace varnel
