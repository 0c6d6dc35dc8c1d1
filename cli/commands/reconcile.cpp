// varnel reconcile: compares the lines that varnel collect has handed over with those that a consumer has
// received.

#include "collect/input_lines.h"
#include "collect/receipt_files.h"
#include "collect/reconciliation.h"
#include "commands/commands.h"
#include "console/console.h"
#include "console/printable.h"
#include "console/streams.h"
#include "eventfile/files.h"

#include <algorithm>
#include <cstdint>

namespace varnel::tool {
namespace {

constexpr std::size_t kMostRows = 20;

[[noreturn]] void Refuse(const NativePath& path, const std::string& why) {
  throw Failure(Printable(ToUtf8(path)) + ": " + why);
}

// Returns a reader of the file, or of standard input for "-".
InputLines OpenLines(const std::string& argument) {
  if (argument == "-")
    return InputLines([](char* bytes, std::size_t most) {
      const ReadResult read = ReadStandardInput(bytes, most);
      if (read.error != 0) throw Failure("standard input: " + DescribeError(read.error));
      return read.count;
    });
  const NativePath path = FullPath(ToNative(argument));
  const auto file = std::make_shared<InputFile>(path, InputFile::Links::kFollow);
  return InputLines([path, file](char* bytes, std::size_t most) {
    const std::size_t count = file->Read(bytes, most);
    if (file->Error().problem == Problem::kNotFile) Refuse(path, "not a file; use - to read from a pipe");
    if (file->Error().problem != Problem::kNone) Refuse(path, DescribeError(file->Error().number));
    return count;
  });
}

struct TakenReceipt {
  NativePath path;
  std::string segment;
};

// Returns the event.id of a line, from 0; its number if the receipt has been moved since.
std::string LineName(const TakenReceipt& receipt, std::size_t line) {
  try {
    return LoadReceipt(receipt.path).ids.at(line);
  } catch (const std::exception&) {
    return "line " + std::to_string(line + 1) + " of " + receipt.segment;
  }
}

class Reconcile {
 public:
  explicit Reconcile(const ReconcileOptions& options)
      : options_(options),
        lines_(options.idsOnly ? Reconciliation::Compare::kIdentifiers : Reconciliation::Compare::kBytes) {}

  Status Run() {
    std::vector<NativePath> paths;
    for (const std::string& path : options_.receipts) paths.push_back(FullPath(ToNative(path)));
    TakeReceipts(paths, [this](const NativePath& path, const ReceiptLines& receipt) {
      receipts_.push_back({path, receipt.segment});
      lines_.TakeReceipt(receipt);
    });
    if (lines_.HandedOver() == 0)
      throw Failure(
          "the receipts name no event; name the folder in which varnel collect writes its segments");
    TakeLines();
    if (lines_.Arrived() == 0)
      throw Failure(Name() + ": no line has an event.id, so nothing can be said; " +
                    "pass the messages as the consumer received them, one JSON object in each line");
    return Report();
  }

 private:
  std::string Name() const {
    return options_.against == "-" ? "standard input" : Printable(options_.against);
  }
  void TakeLines() {
    InputLines reader = OpenLines(options_.against);
    while (const std::optional<InputLines::Line> line = reader.Next()) {
      const LineState state = line->isTooLong ? LineState::kBroken : lines_.TakeLine(line->text);
      if (state == LineState::kIdentified) continue;
      if (++unidentified_ <= kMostRows)
        PrintError(Name() + ":" + std::to_string(line->number) + ": " +
                   (line->isTooLong               ? "longer than 4 MB"
                    : state == LineState::kBroken ? "no JSON object with one event.id"
                                                  : "a JSON object without event.id"));
    }
  }
  // Counts the missing lines. Returns a row for each segment that has some, up to kMostRows.
  std::string ListMissing(Finding& missing) const {
    std::string rows;
    std::size_t segments = 0;
    const auto entries = lines_.Missing();
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (entries[i].count == 0) continue;
      if (segments++ == 0) missing.first = LineName(receipts_[i], entries[i].first);
      missing.count += entries[i].count;
      if (segments <= kMostRows)
        rows += "  of " + Printable(receipts_[i].segment) + ": " + std::to_string(entries[i].count) + "\n";
    }
    if (segments > kMostRows) rows += "  of " + Counted(segments - kMostRows, "other segment") + "\n";
    return rows;
  }
  static void Row(const char* name, const Finding& finding) {
    Print(name + std::to_string(finding.count) +
          (finding.count > 0 ? ", first: " + Printable(finding.first) : "") + "\n");
  }
  Status Report() const {
    Finding missing;
    const std::string segments = ListMissing(missing);
    Print("handed over  " + Counted(lines_.HandedOver(), "event") + " in " +
          Counted(receipts_.size(), "receipt") + "\n");
    if (lines_.HandedOverTwice().count > 0) Row("  twice there ", lines_.HandedOverTwice());
    Print("arrived      " + Counted(lines_.Arrived(), "line") + "\n");
    Row("missing      ", missing);
    Print(segments);
    Row("twice        ", lines_.Twice());
    Row("foreign      ", lines_.Foreign());
    if (!options_.idsOnly) Row("changed      ", lines_.Changed());
    Print("no event.id  " + std::to_string(unidentified_) + "\n");
    return missing.count > 0 || lines_.Changed().count > 0 ? kFound : kDone;
  }

  const ReconcileOptions& options_;
  Reconciliation lines_;
  std::vector<TakenReceipt> receipts_;
  std::uint64_t unidentified_ = 0;
};

}  // namespace

Status RunReconcile(const ReconcileOptions& options) {
  return Reconcile(options).Run();
}

}  // namespace varnel::tool
