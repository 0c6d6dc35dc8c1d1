#include "console/console.h"
#include "console/printable.h"
#include "package/package_files.h"

#include <algorithm>
#include <fstream>

namespace varnel::tool {
namespace {

namespace fs = std::filesystem;

std::string Utf8Of(const fs::path& path) {
  const std::u8string text = path.generic_u8string();
  return {text.begin(), text.end()};
}

class FolderFiles : public PackageFiles {
 public:
  explicit FolderFiles(const fs::path& root) : root_(root) {
    std::error_code error;
    fs::recursive_directory_iterator at(root, error);
    for (; !error && at != fs::recursive_directory_iterator(); at.increment(error)) {
      const std::string name = Utf8Of(at->path().lexically_relative(root));
      const bool isLink = IsLink(at->path());
      const fs::file_status status = isLink ? fs::file_status() : at->status(error);
      if (error) break;
      if (isLink || (!fs::is_regular_file(status) && !fs::is_directory(status)))
        throw Failure(Printable(name) + " is a link or a device, which no package has; remove it");
      if (fs::is_regular_file(status)) names_.push_back(name);
      if (names_.size() > kMostFiles || at.depth() > kMostLevels)
        throw Failure("has more files or levels than a package; name the folder of the package itself");
    }
    if (error) throw Failure("cannot be listed: " + error.message());
    std::sort(names_.begin(), names_.end());
  }

  std::vector<std::string> Names() const override { return names_; }

  void Read(const std::string& name, const Sink& sink) override {
    std::ifstream file(root_ / fs::path(std::u8string(name.begin(), name.end())), std::ios::binary);
    std::vector<char> piece(kPiece);
    while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())) || file.gcount() > 0)
      sink({piece.data(), static_cast<std::size_t>(file.gcount())});
    if (!file.eof()) throw Failure("cannot be read; may this account read it?");
  }

 private:
  static constexpr int kMostLevels = 30;
  const fs::path root_;
  std::vector<std::string> names_;
};

}  // namespace

std::unique_ptr<PackageFiles> OpenFolder(const fs::path& path) {
  return std::make_unique<FolderFiles>(path);
}

}  // namespace varnel::tool
