#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varnel {

// A registration script says which keys a class writes below HKEY_CLASSES_ROOT, in the nested syntax that
// component authors know:
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
  kWhenEmpty,  // on unregistration, once its script children are gone and nothing else is below it
  kForce,
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

// The keys at the top of the script, or nothing when any part of the text is not understood: another root,
// another value type, an unknown variable, an unclosed quote or brace, a byte outside ASCII, anything behind
// the last brace.
[[nodiscard]] std::optional<std::vector<ScriptKey>> ParseRegistrationScript(std::string_view script,
                                                                            const ScriptVariables& variables);

}  // namespace varnel
