#include "package/signature.h"

namespace varnel::tool {

Signature SignatureOf(const std::filesystem::path&) {
  return {};
}

}  // namespace varnel::tool
