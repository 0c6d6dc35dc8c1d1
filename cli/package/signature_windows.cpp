#include "base/files.h"
#include "console/text.h"
#include "package/signature.h"
#include "protection/signature_check.h"

namespace varnel::tool {

Signature SignatureOf(const std::filesystem::path& program) {
  const FileHandle file(
      CreateFileW(program.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, kAnonymously, nullptr));
  if (!file) return {SignatureState::kBad, "cannot be opened"};
  // It is of its own publisher, so the program's signature does not matter.
  const SignatureVerdict verdict = CheckSignature(file.Get(), program.c_str(), program.c_str());
  if (!verdict.objection) return {SignatureState::kTrusted, {}};
  if (verdict.code == static_cast<DWORD>(TRUST_E_NOSIGNATURE)) return {SignatureState::kNone, {}};
  return {SignatureState::kBad, ToUtf8(verdict.objection) + " (error " + std::to_string(verdict.code) + ")"};
}

}  // namespace varnel::tool
