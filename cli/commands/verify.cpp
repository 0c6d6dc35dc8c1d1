// varnel verify: compares a package, unpacked or as a zip, with its SBOM.

#include "commands/commands.h"
#include "console/console.h"
#include "console/printable.h"
#include "console/sha256.h"
#include "package/bill.h"
#include "package/package_files.h"
#include "package/signature.h"

#include <algorithm>
#include <set>

namespace varnel::tool {
namespace {

constexpr std::size_t kLargestBill = std::size_t{4} << 20;

// Returns the folder within the package, empty or with '/' at its end, that has the SBOM: a zip has
// everything in one folder.
std::string FindRoot(const std::vector<std::string>& names) {
  const std::string* found = nullptr;
  for (const std::string& name : names)
    if (name == kBillName || name.ends_with("/" + std::string(kBillName)))
      if (!found || name.size() < found->size()) found = &name;
  if (!found)
    throw Failure("has no " + std::string(kBillName) +
                  ", with which its files are compared; name the folder of a package");
  return found->substr(0, found->size() - kBillName.size());
}

std::string ReadText(PackageFiles& files, const std::string& name) {
  std::string text;
  files.Read(name, [&text](std::string_view bytes) {
    if (text.size() + bytes.size() > kLargestBill)
      throw Failure("its " + std::string(kBillName) + " is too large to be one");
    text += bytes;
  });
  return text;
}

std::string SumOf(PackageFiles& files, const std::string& name) {
  Sha256 sum;
  files.Read(name, [&sum](std::string_view bytes) { sum.Add(bytes); });
  return sum.Finish();
}

void Report(const std::string& name, const std::string& fault) {
  Print(Printable(name) + ": " + fault + "\n");
}

// Compares the files with the SBOM, prints what differs and returns the number of these.
std::size_t Compare(PackageFiles& files, const std::string& root, const std::vector<std::string>& names,
                    const Bill& bill) {
  std::size_t faults = 0;
  Progress progress(names.size());
  std::set<std::string> seen;
  for (const std::string& name : names) {
    progress.Next();
    const std::string inside = name.starts_with(root) ? name.substr(root.size()) : "";
    if (inside == kBillName) continue;
    const auto known = bill.sums.find(inside);
    if (known == bill.sums.end()) {
      Report(name, "is not part of the package");
      ++faults;
      continue;
    }
    seen.insert(inside);
    try {
      if (SumOf(files, name) == known->second) continue;
      Report(name, "differs from the file that was packaged");
    } catch (const OutputClosed&) {
      throw;
    } catch (const Failure& failure) {
      Report(name, failure.what());
    }
    ++faults;
  }
  for (const auto& [name, sum] : bill.sums) {
    if (seen.contains(name)) continue;
    Report(root + name, "is missing");
    ++faults;
  }
  return faults;
}

bool IsProgram(std::string_view name) {
  return name.ends_with(".dll") || name.ends_with(".exe") || name.ends_with(".DLL") || name.ends_with(".EXE");
}

// Prints the state of each signature and returns the number of bad ones.
std::size_t CheckSignatures(const std::filesystem::path& folder, const std::vector<std::string>& names) {
  std::size_t faults = 0;
  for (const std::string& name : names) {
    if (!IsProgram(name)) continue;
    const Signature signature =
        SignatureOf(folder / std::filesystem::path(std::u8string(name.begin(), name.end())));
    switch (signature.state) {
      case SignatureState::kNone:
        Report(name, "is not signed");
        break;
      case SignatureState::kTrusted:
        Report(name, "has a signature that is intact and trusted");
        break;
      case SignatureState::kNotChecked:
        Report(name, "signature not looked at: that takes Windows");
        break;
      case SignatureState::kBad:
        Report(name, "signature: " + signature.fault);
        ++faults;
    }
  }
  return faults;
}

}  // namespace

Status RunVerify(const VerifyOptions& options) {
  const std::filesystem::path path(std::u8string(options.path.begin(), options.path.end()));
  try {
    const bool isFolder = std::filesystem::is_directory(path);
    const std::unique_ptr<PackageFiles> files = isFolder ? OpenFolder(path) : OpenZip(path);
    const std::vector<std::string> names = files->Names();
    const std::string root = FindRoot(names);
    const Bill bill = ReadBill(ReadText(*files, root + std::string(kBillName)));
    std::size_t faults = Compare(*files, root, names, bill);
    if (isFolder)
      faults += CheckSignatures(path, names);
    else
      Print("signatures not looked at: that takes the unpacked folder\n");
    Print(Printable(bill.package) + ": " + std::to_string(bill.sums.size()) + " files, " +
          (faults == 0 ? "all as packaged" : std::to_string(faults) + (faults == 1 ? " fault" : " faults")) +
          "\n");
    return faults == 0 ? kDone : kFound;
  } catch (const OutputClosed&) {
    throw;
  } catch (const Failure& failure) {
    throw Failure(Printable(options.path) + ": " + failure.what());
  } catch (const std::filesystem::filesystem_error& error) {
    throw Failure(Printable(options.path) + ": cannot be read: " + error.code().message());
  }
}

}  // namespace varnel::tool
