// varnel catalogue: checks the catalogue of a product's events, and generates code and documents from it.

#include "catalogue/catalogue_file.h"
#include "catalogue/generated_files.h"
#include "commands/commands.h"
#include "console/printable.h"
#include "eventfile/files.h"

#include <algorithm>
#include <filesystem>

namespace varnel::tool {
namespace {

using namespace catalogue;

// Prints all findings of a catalogue and their number.
Status PrintFindings(const std::string& path, const Reading& reading, bool areWarningsErrors) {
  std::size_t warnings = 0;
  for (const Finding& finding : reading.findings) {
    Print(Describe(path, finding) + "\n");
    if (finding.isWarning) ++warnings;
  }
  const std::size_t errors = reading.findings.size() - warnings;
  Print(Counted(reading.catalogue.events.size(), "event") + ", " + Counted(errors, "error") + ", " +
        Counted(warnings, "warning") + "\n");
  return errors > 0 || (areWarningsErrors && warnings > 0) ? kFound : kDone;
}

// Returns the name of generated files: the option, or the catalogue's file name up to its first dot.
std::string NameFor(const GenerateOptions& options) {
  std::string name = options.name;
  if (name.empty()) name = FileNameOf(options.path);
  if (options.name.empty()) name = name.substr(0, name.find('.'));
  if (!IsGeneratedName(name))
    throw Failure(Printable(name) +
                  " cannot be the name of generated files: pass --name with letters, digits and single "
                  "underscores, which begins with a letter and is no keyword");
  return name;
}

// Returns the file's content, at most the bytes of `wanted` and one more; nothing if there is no file.
std::optional<std::string> ReadOldFile(const NativePath& path, std::size_t most) {
  InputFile file(path, InputFile::Links::kFollow);
  std::string bytes(std::min<std::size_t>(static_cast<std::size_t>(file.Size()), most) + 1, '\0');
  bytes.resize(file.Read(bytes.data(), bytes.size()));
  if (file.Error().problem == Problem::kMissing) return std::nullopt;
  if (file.Error().problem != Problem::kNone)
    throw Failure(Printable(ToUtf8(path)) + ": " + DescribeError(file.Error().number));
  return bytes;
}

// Replaces a generated file, and no other. A file that would not change keeps its time.
void WriteGenerated(const NativePath& path, const std::string& bytes) {
  const std::optional<std::string> old = ReadOldFile(path, std::max(bytes.size(), kMarkWithin));
  if (old == bytes) return;
  if (old && old->substr(0, kMarkWithin).find(kGeneratedMark) == old->npos)
    throw Failure(Printable(ToUtf8(path)) +
                  " exists and is not generated: move it away, or choose another --to or --name");
  NewFile file(path);
  if (!file.Write(bytes) || !file.Finish())
    throw Failure(Printable(ToUtf8(path)) + " cannot be written: check the folder and the room on the disk");
}

}  // namespace

Status RunCatalogueCheck(const CatalogueCheckOptions& options) {
  return PrintFindings(options.path, ReadCatalogueFile(options.path), options.areWarningsErrors);
}

Status RunGenerate(const GenerateOptions& options) {
  const std::string name = NameFor(options);
  const Reading reading = ReadCatalogueFile(options.path);
  if (reading.HasErrors()) return PrintFindings(options.path, reading, false);
  const NativePath folder = WithSeparator(ToNative(options.folder));
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw Failure(Printable(options.folder) + ": the folder cannot be created");
  for (const GeneratedFile& file : GenerateFiles(reading.catalogue, name)) {
    const NativePath path = folder + ToNative(file.name);
    WriteGenerated(path, file.bytes);
    Print(Printable(ToUtf8(path)) + "\n");
  }
  return kDone;
}

}  // namespace varnel::tool
