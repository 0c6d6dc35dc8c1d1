#pragma once

#include <map>
#include <string>
#include <string_view>

namespace varnel::tool {

// The file name of a package's SBOM (SPDX 2.3, JSON).
inline constexpr std::string_view kBillName = "varnel.spdx.json";

// The content of an SBOM.
struct Bill {
  std::string package;  // the package's file name
  // SHA-256, in hexadecimal digits as in the SBOM, by the file's path from the SBOM's folder.
  std::map<std::string, std::string> sums;
};
// Reads an SBOM. Throws Failure, a clause without the SBOM's name, if it is none, is not of SPDX 2, lacks a
// file's SHA-256 or names a file twice.
[[nodiscard]] Bill ReadBill(std::string_view json);

}  // namespace varnel::tool
