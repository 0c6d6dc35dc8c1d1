#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnel {

// Windows' answers about its version. `extended` is empty if the extended version query failed.
struct OsFacts {
  struct Extended {
    std::uint32_t minor;
    bool workstation;
  };

  std::uint32_t platform = 0;  // 0 Win32s, 1 Windows 9x, 2 NT; 0 also when the query failed
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::optional<Extended> extended = std::nullopt;
  std::uint32_t minorAskedAgain = 0;   // for 6.2 and 6.3: from a second extended query; 0 if that failed
  bool serverR2 = false;               // for 5.2: the SM_SERVERR2 metric
  std::wstring_view productType = {};  // for 6.x without extended record: the registry's text
};

// Returns the display name; nothing for a version without one, which leaves the caller's text unchanged. The
// names are uneven ("Windows 2008" but "Windows Server 2012"), because servers compare them as exact texts.
[[nodiscard]] std::optional<std::wstring_view> OsNameFrom(const OsFacts& facts) noexcept;

// Maps the registry's ProductType, in any letter case, to "Workstation" or "Server"; any other value to
// "N/A".
[[nodiscard]] std::wstring_view ProductTypeFrom(std::wstring_view registryText) noexcept;

}  // namespace varnel
