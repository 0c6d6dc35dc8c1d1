#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// Takes the next bytes of a file.
using Sink = std::function<void(std::string_view bytes)>;

// The files of a package: a folder, or a zip, which is read without unpacking it. Memory is bounded whatever
// the package holds. Names are UTF-8, relative and with '/' between their parts.
class PackageFiles {
 public:
  virtual ~PackageFiles() = default;
  // Names of all files, sorted.
  [[nodiscard]] virtual std::vector<std::string> Names() const = 0;
  // Passes the bytes of one of these files to `sink`, piece by piece. Throws Failure, which does not name the
  // file, if they cannot be read.
  virtual void Read(const std::string& name, const Sink& sink) = 0;
};

// Files of a package and bytes that are read; what has more is refused.
inline constexpr std::size_t kMostFiles = 20'000;
inline constexpr std::uint64_t kMostBytes = std::uint64_t{2} << 30;
inline constexpr std::size_t kPiece = 65'536;

// Open a package. Throw Failure if `path` is not one, or holds what no package holds: too much, links, or
// names that lead out of it.
[[nodiscard]] std::unique_ptr<PackageFiles> OpenFolder(const std::filesystem::path& path);
[[nodiscard]] std::unique_ptr<PackageFiles> OpenZip(const std::filesystem::path& path);

}  // namespace varnel::tool
