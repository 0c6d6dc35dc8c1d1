#include "catalogue/catalogue_file.h"

#include "console/console.h"
#include "console/printable.h"
#include "eventfile/event_text.h"
#include "eventfile/files.h"

#include <algorithm>

namespace varnel::tool::catalogue {

Reading ReadCatalogueFile(const std::string& path) {
  InputFile file(ToNative(path), InputFile::Links::kFollow);
  // One byte more than ReadCatalogue takes.
  std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(file.Size(), kLargestCatalogue)) + 1,
                    '\0');
  bytes.resize(file.Read(bytes.data(), bytes.size()));
  if (file.Error().problem == Problem::kNotFile) throw Failure(Printable(path) + ": not a file on a disk");
  if (file.Error().problem != Problem::kNone)
    throw Failure(Printable(path) + ": " + DescribeError(file.Error().number));
  return ReadCatalogue(bytes);
}

Catalogue LoadCatalogue(const std::string& path) {
  Reading reading = ReadCatalogueFile(path);
  for (const Finding& finding : reading.findings)
    if (!finding.isWarning)
      throw Failure(Describe(path, finding) + "; varnel catalogue check finds all errors");
  return std::move(reading.catalogue);
}

std::string Describe(const std::string& path, const Finding& finding) {
  return Printable(path) + ":" + std::to_string(finding.at.line) + ":" + std::to_string(finding.at.column) +
         ": " + (finding.isWarning ? "warning: " : "") + Shortened(finding.text);
}

}  // namespace varnel::tool::catalogue
