#include "probes/os_name_rule.h"

#include "base/characters.h"

namespace varnel {
namespace {

using Name = std::optional<std::wstring_view>;

Name NameOf9x(const OsFacts& facts) noexcept {
  if (facts.major != 4) return {};
  switch (facts.minor) {
    case 0:
      return L"Windows 95";
    case 10:
      return L"Windows 98";
    case 90:
      return L"Windows Millennium";
    default:
      return {};
  }
}

Name NameOf5(const OsFacts& facts) noexcept {
  switch (facts.minor) {
    case 0:
      return L"Windows 2000";
    case 1:
      return L"Windows XP";
    case 2:
      if (!facts.extended) return L"Windows 2003";
      if (facts.extended->workstation) return L"Windows XP";
      return facts.serverR2 ? L"Windows 2003 R2" : L"Windows 2003";
    default:
      return {};
  }
}

Name NameOf6Extended(const OsFacts& facts) noexcept {
  const bool workstation = facts.extended->workstation;
  switch (facts.extended->minor) {
    case 0:
      return workstation ? L"Windows Vista" : L"Windows 2008";
    case 1:
      return workstation ? L"Windows 7" : L"Windows 2008 R2";
    case 2:
    case 3:
      if (facts.minorAskedAgain == 2) return workstation ? L"Windows 8 Workstation" : L"Windows Server 2012";
      if (facts.minorAskedAgain == 3)
        return workstation ? L"Windows 8.1 Workstation" : L"Windows Server 2012 R2";
      return L"Unknown";
    default:
      return L"Unknown";
  }
}

Name NameOf6FromProductType(const OsFacts& facts) noexcept {
  const bool server = facts.productType == L"Server";
  if (!server && facts.productType != L"Workstation") return L"Unknown";
  switch (facts.minor) {
    case 0:
      return server ? L"Windows 2008" : L"Windows Vista";
    case 1:
      return server ? L"Windows 2008 R2" : L"Windows 7";
    case 2:
    case 3:
      return server ? L"Windows Server 2012" : L"Windows 8 Workstation";
    default:
      return L"Unknown";
  }
}

Name NameOf10(const OsFacts& facts) noexcept {
  if (!facts.extended || facts.extended->minor != 0) return {};
  return facts.extended->workstation ? L"Windows 10 Workstation" : L"Windows 10 Server";
}

Name NameOfNt(const OsFacts& facts) noexcept {
  switch (facts.major) {
    case 4:
      return L"Windows NT";
    case 5:
      return NameOf5(facts);
    case 6:
      return facts.extended ? NameOf6Extended(facts) : NameOf6FromProductType(facts);
    case 10:
      return NameOf10(facts);
    default:
      return {};
  }
}

}  // namespace

Name OsNameFrom(const OsFacts& facts) noexcept {
  switch (facts.platform) {
    case 1:
      return NameOf9x(facts);
    case 2:
      return NameOfNt(facts);
    default:
      return L"Windows 3.x";
  }
}

std::wstring_view ProductTypeFrom(std::wstring_view registryText) noexcept {
  if (EqualIgnoringAsciiCase(registryText, L"WinNT")) return L"Workstation";
  if (EqualIgnoringAsciiCase(registryText, L"ServerNT") || EqualIgnoringAsciiCase(registryText, L"LANMANNT"))
    return L"Server";
  return L"N/A";
}

}  // namespace varnel
