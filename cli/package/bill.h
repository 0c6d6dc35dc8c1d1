#pragma once

#include <map>
#include <string>
#include <string_view>

namespace varnel::tool {

// The file name of a package's SBOM (SPDX 2.3, JSON).
inline constexpr std::string_view kBillName = "varnel.spdx.json";

// What an SBOM says about its package.
struct Bill {
  std::string package;                      // the package's file name
  std::map<std::string, std::string> sums;  // SHA-256 in hexadecimal digits by the file's name
};
// Reads an SBOM. Throws Failure if it is none, or lacks a file's SHA-256.
[[nodiscard]] Bill ReadBill(std::string_view json);

}  // namespace varnel::tool
