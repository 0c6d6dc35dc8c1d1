#include "collect/receipt_files.h"

#include "console/console.h"
#include "console/printable.h"
#include "console/sha256.h"
#include "eventfile/files.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>

namespace varnel::tool {
namespace {

constexpr std::size_t kLargest = std::size_t{256} << 20;

[[noreturn]] void Refuse(const NativePath& path, const std::string& why) {
  throw Failure(Printable(ToUtf8(path)) + ": " + why);
}

// True for eight or more digits and .json.
bool IsReceiptName(const NativePath& name) {
  const std::string text = ToUtf8(name);
  const std::size_t digits = text.find_first_not_of("0123456789");
  return digits != text.npos && digits >= 8 && text.substr(digits) == ".json";
}

std::vector<NativePath> ReceiptsOf(const NativePath& path) {
  const NativePath folder = WithSeparator(path);
  const FolderListing listing = ListFolder(folder);
  if (listing.error.problem != Problem::kNone) Refuse(path, DescribeError(listing.error.number));
  std::vector<NativePath> receipts;
  for (const FolderFile& file : listing.files)
    if (IsReceiptName(file.name)) receipts.push_back(folder + file.name);
  std::sort(receipts.begin(), receipts.end());
  return receipts;
}

// Returns nothing if there is no such file.
std::optional<std::string> ReadText(const NativePath& path) {
  InputFile file(path, InputFile::Links::kFollow);
  const std::uint64_t size = file.Size();
  if (size > kLargest) Refuse(path, "is too large to be a receipt");
  std::string text(static_cast<std::size_t>(size), '\0');
  text.resize(file.Read(text.data(), text.size()));
  const FileError& error = file.Error();
  if (error.problem == Problem::kMissing) return std::nullopt;
  if (error.problem == Problem::kNotFile) Refuse(path, "not a file on a disk");
  if (error.problem != Problem::kNone) Refuse(path, DescribeError(error.number));
  return text;
}

ReceiptLines Parse(const NativePath& path, const std::string& text) {
  try {
    return ReadReceipt(text);
  } catch (const Failure& failure) {
    Refuse(path, failure.what());
  }
}

}  // namespace

ReceiptLines LoadReceipt(const NativePath& path) {
  const std::optional<std::string> text = ReadText(path);
  if (!text) Refuse(path, "is missing");
  return Parse(path, *text);
}

void TakeReceipts(const std::vector<NativePath>& paths,
                  const std::function<void(const NativePath& path, const ReceiptLines& receipt)>& take) {
  std::set<std::string> taken;  // SHA-256
  for (const NativePath& path : paths) {
    const PathFacts facts = FactsOf(path);
    if (facts.error.problem != Problem::kNone) Refuse(path, DescribeError(facts.error.number));
    for (const NativePath& receipt : facts.isFolder ? ReceiptsOf(path) : std::vector<NativePath>{path}) {
      const std::optional<std::string> text = ReadText(receipt);
      if (!text) continue;  // moved since the folder was listed
      Sha256 sum;
      sum.Add(*text);
      if (taken.insert(sum.Finish()).second) take(receipt, Parse(receipt, *text));
    }
  }
}

}  // namespace varnel::tool
