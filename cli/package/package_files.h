#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// Takes the next bytes of a file, possibly none; they are valid during the call.
using Sink = std::function<void(std::string_view bytes)>;

// The files of a package: a folder, or a zip, which is read without unpacking it. Memory is bounded whatever
// the package holds. Names are UTF-8, relative and with '/' between their parts.
class PackageFiles {
 public:
  virtual ~PackageFiles() = default;
  // Names of all files, sorted.
  [[nodiscard]] virtual std::vector<std::string> Names() const = 0;
  // Passes the bytes of one of these files to `sink`, piece by piece. Throws Failure, a clause without the
  // file's name, if they cannot be read or are not those that were zipped; `sink` may have taken bytes by
  // then.
  virtual void Read(const std::string& name, const Sink& sink) = 0;
};

// A package with more files is refused, and a zip whose files have more bytes together.
inline constexpr std::size_t kMostFiles = 20'000;
inline constexpr std::uint64_t kMostBytes = std::uint64_t{2} << 30;
inline constexpr std::size_t kPiece = 65'536;  // most bytes in one call of a sink

// Open a package. Throw Failure, a clause without the path, if `path` is not one, or holds what no package
// holds: too much, links or devices; in a zip names that lead out of it, or equal names in any case of
// letters.
[[nodiscard]] std::unique_ptr<PackageFiles> OpenFolder(const std::filesystem::path& path);
[[nodiscard]] std::unique_ptr<PackageFiles> OpenZip(const std::filesystem::path& path);

// True for a symbolic link, and on Windows for a junction and every other reparse point. Links are not
// followed: links_windows.cpp and links_posix.cpp.
[[nodiscard]] bool IsLink(const std::filesystem::path& path);

}  // namespace varnel::tool
