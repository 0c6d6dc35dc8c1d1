#include "probes/fact_library.h"

#include "base/process_identity.h"
#include "logging/log_writer.h"

namespace varnel {

LoadedLibrary LoadLibraryForFact(const wchar_t* name, const wchar_t* fact) {
  DWORD identityError = ERROR_SUCCESS;
  LoadedLibrary library = LoadSystemLibrary(name, &identityError);
  if (identityError != ERROR_SUCCESS)
    LogError(kReportFacility, L"%s stays empty: %s (0x%08X)", fact, kNoProcessIdentity, identityError);
  return library;
}

}  // namespace varnel
