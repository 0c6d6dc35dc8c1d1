#pragma once

#include <filesystem>
#include <string>

namespace varnel::tool {

enum class SignatureState { kNone, kTrusted, kBad, kNotChecked };
struct Signature {
  SignatureState state = SignatureState::kNotChecked;
  std::string fault;  // of kBad, as a clause
};
// Checks the Authenticode signature of a program or DLL, as the library checks its self-protection client,
// but with any publisher. A file that cannot be opened is bad. On other systems than Windows, returns
// kNotChecked.
[[nodiscard]] Signature SignatureOf(const std::filesystem::path& program);

}  // namespace varnel::tool
