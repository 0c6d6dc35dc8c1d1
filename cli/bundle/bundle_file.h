#pragma once

#include "bundle/unique_names.h"
#include "console/console.h"
#include "eventfile/files.h"
#include "package/zip_writer.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::tool {

// A bundle that is written: a zip, with a list of what is in it. It gets its name when it is finished, and
// replaces no other file.
class BundleFile {
 public:
  // Throws Failure if the file exists.
  explicit BundleFile(NativePath path);

  // Adds a file to a folder of the bundle; an empty one stands for its top. A name that is taken gets a
  // number, and characters that no name may have on Windows become '_'. `state` is that of an event file.
  // Throws like ZipWriter.
  void Add(std::string_view folder, std::string_view name, std::string_view bytes,
           std::string_view state = {});
  // Notes a file that is not in the bundle.
  void LeaveOut(std::string_view name, std::string_view reason);
  // Adds the list, contents.json. `settings` are members of its object, as JSON, each followed by a comma.
  void Finish(std::string_view settings);

  [[nodiscard]] std::uint64_t Size() const { return size_; }

 private:
  std::string UniqueName(std::string_view folder, std::string_view name);
  [[nodiscard]] std::string Contents(std::string_view settings) const;
  [[nodiscard]] Failure CannotWrite() const;

  const NativePath path_;
  NewFile file_;
  ZipWriter zip_;
  std::uint64_t size_ = 0;          // of the zip
  UniqueNames names_;               // in small letters, which Windows does not distinguish
  std::vector<std::string> files_;  // objects of the list
  std::vector<std::string> leftOut_;
};

}  // namespace varnel::tool
