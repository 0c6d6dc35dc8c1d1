#include "runtime/load_restriction.h"

#include "base/characters.h"

#include <algorithm>

namespace varnel {
namespace {

constexpr std::wstring_view kAllowedProcesses[] = {L"OrbaFramework", L"OrbaUpdate", L"RegSvr32",
                                                   L"OrbaScript"};

}  // namespace

bool MayLoad(HostVersion version, bool agentManaged, std::wstring_view processFile) noexcept {
  if (!IsNt4(version) || agentManaged) return true;
  const std::wstring_view name = processFile.substr(processFile.find_last_of(L"\\/") + 1);
  const auto dot = name.rfind(L'.');
  if (dot == std::wstring_view::npos || !EqualIgnoringAsciiCase(name.substr(dot), L".exe")) return false;
  return std::any_of(
      std::begin(kAllowedProcesses), std::end(kAllowedProcesses),
      [&](std::wstring_view allowed) { return EqualIgnoringAsciiCase(name.substr(0, dot), allowed); });
}

}  // namespace varnel
