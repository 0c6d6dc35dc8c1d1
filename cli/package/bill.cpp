#include "package/bill.h"

#include "console/console.h"
#include "console/printable.h"

#include <nlohmann/json.hpp>

namespace varnel::tool {
namespace {

std::string SumOf(const nlohmann::json& file) {
  for (const nlohmann::json& sum : file.at("checksums"))
    if (sum.at("algorithm") == "SHA256") return sum.at("checksumValue").get<std::string>();
  throw Failure("lacks a SHA-256");
}

}  // namespace

Bill ReadBill(std::string_view json) {
  try {
    const nlohmann::json document = nlohmann::json::parse(json);
    if (!document.at("spdxVersion").get<std::string>().starts_with("SPDX-2."))
      throw Failure("is not of a version of SPDX that this program reads; use the varnel.exe of the package");
    Bill bill{document.at("name").get<std::string>(), {}};
    for (const nlohmann::json& file : document.at("files")) {
      std::string name = file.at("fileName").get<std::string>();
      if (name.starts_with("./")) name.erase(0, 2);
      if (!bill.sums.emplace(name, SumOf(file)).second) throw Failure("names " + Printable(name) + " twice");
    }
    return bill;
  } catch (const nlohmann::json::exception& error) {
    throw Failure("is not an SBOM in the form of SPDX: " + Printable(error.what()));
  }
}

}  // namespace varnel::tool
