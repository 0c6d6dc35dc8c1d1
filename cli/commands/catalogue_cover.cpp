// varnel catalogue cover: compares event files with the catalogue of their product.

#include "catalogue/catalogue_file.h"
#include "catalogue/coverage.h"
#include "commands/commands.h"
#include "console/console.h"
#include "console/json_text.h"
#include "console/text.h"
#include "eventfile/document_reader.h"
#include "eventfile/event_text.h"

#include <algorithm>

namespace varnel::tool {
namespace {

using namespace catalogue;
using Json = nlohmann::ordered_json;

std::string_view WordFor(Deviates how) {
  switch (how) {
    case Deviates::kUndeclared:
      return "undeclared";
    case Deviates::kWrong:
      return "wrong";
    case Deviates::kMissing:
      return "missing";
  }
  return {};
}

bool IsNever(const Coverage::Declared& item) {
  return item.count == 0 && item.isPossible;
}

class Cover {
 public:
  explicit Cover(const CoverOptions& options)
      : options_(options), catalogue_(LoadCatalogue(options.catalogue)), coverage_(catalogue_) {}

  Status Run() {
    for (const std::string& path : options_.paths) {
      const std::vector<ListedFile> files = reader_.List(ToNative(path)).value_or(std::vector<ListedFile>());
      Progress progress(files.size());
      for (const ListedFile& file : files) {
        progress.Next();
        reader_.Read(file, [this](const EventDocument& document) {
          ++files_;
          coverage_.Add(document);
        });
      }
    }
    if (options_.asJson)
      PrintJson();
    else
      PrintRows();
    return Result();
  }

 private:
  void PrintRow(std::string_view word, std::string_view path, const std::string& text) const {
    std::string line(word);
    line.resize(12, ' ');
    Print(line + Shortened(path) + (text.empty() ? "" : ": " + text) + "\n");
  }
  void PrintRows() const {
    const std::vector<Coverage::Declared> declared = coverage_.DeclaredItems();
    for (const Coverage::Declared& item : declared)
      if (IsNever(item)) PrintRow("never", item.path, "");
    for (const Coverage::Row& row : coverage_.Rows()) {
      std::string text = row.how == Deviates::kWrong ? Shortened(row.text) + "; " : std::string();
      text += Counted(row.count, "time") + ", for example ";
      if (row.how != Deviates::kMissing) text += "\"" + Shortened(row.value) + "\" ";
      PrintRow(WordFor(row.how), row.path, text + "in " + Shortened(row.file));
    }
    if (coverage_.MoreDeviations() > 0)
      PrintRow("...", Counted(coverage_.MoreDeviations(), "deviation") + " at other places", "");
    const auto never = std::count_if(declared.begin(), declared.end(), IsNever);
    Print(Counted(coverage_.Events(), "event") + " of " + Shortened(catalogue_.product.name) + " in " +
          Counted(files_ - coverage_.OtherProducts(), "file") + ", " +
          Counted(coverage_.OtherProducts(), "file") + " of other products; " + std::to_string(never) +
          " never seen, " + Counted(Deviations(), "deviation") + "\n");
  }
  void PrintJson() const {
    Json declared = Json::array(), deviations = Json::array();
    for (const Coverage::Declared& item : coverage_.DeclaredItems())
      declared.push_back({{"path", item.path}, {"count", item.count}});
    for (const Coverage::Row& row : coverage_.Rows()) {
      deviations.push_back({{"kind", WordFor(row.how)},
                            {"path", row.path},
                            {"text", row.text},
                            {"count", row.count},
                            {"value", row.value},
                            {"file", row.file}});
    }
    Print(JsonText({{"files", files_},
                    {"otherProducts", coverage_.OtherProducts()},
                    {"events", coverage_.Events()},
                    {"declared", std::move(declared)},
                    {"deviations", std::move(deviations)},
                    {"moreDeviations", coverage_.MoreDeviations()}},
                   2) +
          "\n");
  }

  // Returns how often a document deviated.
  [[nodiscard]] std::size_t Deviations() const {
    std::size_t count = coverage_.MoreDeviations();
    for (const Coverage::Row& row : coverage_.Rows()) count += row.count;
    return count;
  }
  [[nodiscard]] Status Result() const {
    if (coverage_.Events() == 0) {
      PrintError("no event of " + Printable(catalogue_.product.name) + " in " +
                 Counted(files_, "event file") +
                 ", so nothing was checked; pass the folder into which this product reports");
      return kFailed;
    }
    const std::vector<Coverage::Declared> declared = coverage_.DeclaredItems();
    const bool isFound =
        Deviations() > 0 || (options_.all && std::any_of(declared.begin(), declared.end(), IsNever));
    return std::max(reader_.Worst(), isFound ? kFound : kDone);
  }

  const CoverOptions& options_;
  const Catalogue catalogue_;
  Coverage coverage_;
  DocumentReader reader_;
  std::size_t files_ = 0;  // that are event documents
};

}  // namespace

Status RunCatalogueCover(const CoverOptions& options) {
  return Cover(options).Run();
}

}  // namespace varnel::tool
