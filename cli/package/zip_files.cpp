// Reads zips as scripts/package makes them: stored or deflated entries, one disk, no encryption, no Zip64.
// A zip is not trusted: each size and offset is checked before it is used.

#include "console/console.h"
#include "console/printable.h"
#include "package/package_files.h"
#include "package/zip_format.h"

#include <zlib.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>

namespace varnel::tool {
namespace {

constexpr std::size_t kLongestComment = 65'535;
constexpr std::size_t kMostDirectory = std::size_t{8} << 20;
constexpr unsigned kEncrypted = 1;
// Types of a file in the mode that zips of Unix have in the upper half of the external attributes.
constexpr unsigned kUnixTypes = 0xF000, kUnixLink = 0xA000;

[[noreturn]] void Refuse(const std::string& fault) {
  throw Failure("is not a sound zip: " + fault);
}

// Little-endian numbers at offsets that are within the text.
std::uint32_t Number(std::string_view bytes, std::size_t at, std::size_t size) {
  std::uint32_t number = 0;
  for (std::size_t i = size; i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
  return number;
}
std::uint32_t Number16(std::string_view bytes, std::size_t at) {
  return Number(bytes, at, 2);
}
std::uint32_t Number32(std::string_view bytes, std::size_t at) {
  return Number(bytes, at, 4);
}

struct Entry {
  std::uint32_t method = 0;
  std::uint32_t crc = 0;
  std::uint32_t packed = 0;  // bytes in the zip
  std::uint32_t size = 0;    // bytes of the file
  std::uint32_t offset = 0;  // of its local record
};

// True for a relative name whose parts are names on every system, so that unpacking stays within the folder.
bool IsSafe(std::string_view name) {
  if (name.empty() || name.find_first_of(std::string_view("\\:\0", 3)) != std::string_view::npos)
    return false;
  for (std::size_t at = 0; at <= name.size();) {
    const std::size_t end = std::min(name.find('/', at), name.size());
    const std::string_view part = name.substr(at, end - at);
    if (part.empty() || part == "." || part == "..") return false;
    at = end + 1;
  }
  return true;
}

std::string LowerCase(std::string name) {
  for (char& c : name)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return name;
}

// Inflates the pieces of one entry.
class Inflater {
 public:
  Inflater() {
    if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&stream_); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // Passes on what a piece inflates to. Refuses bytes after the end of the stream.
  void Add(std::string_view piece, const Sink& sink) {
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece.data()));
    stream_.avail_in = static_cast<uInt>(piece.size());
    do {
      stream_.next_out = reinterpret_cast<Bytef*>(output_.data());
      stream_.avail_out = static_cast<uInt>(output_.size());
      const int result = isEnded_ ? Z_STREAM_ERROR : inflate(&stream_, Z_NO_FLUSH);
      isEnded_ = result == Z_STREAM_END;
      // Z_BUF_ERROR: the piece was used up when the output was just full.
      if (result != Z_OK && result != Z_STREAM_END && !(result == Z_BUF_ERROR && stream_.avail_in == 0))
        Refuse("compressed bytes are damaged");
      sink({output_.data(), output_.size() - stream_.avail_out});
    } while (stream_.avail_in > 0 || (stream_.avail_out == 0 && !isEnded_));
  }
  bool IsEnded() const { return isEnded_; }

 private:
  z_stream stream_{};
  std::vector<char> output_ = std::vector<char>(kPiece);
  bool isEnded_ = false;
};

class ZipFiles : public PackageFiles {
 public:
  explicit ZipFiles(const std::filesystem::path& path) : file_(path, std::ios::binary | std::ios::ate) {
    if (!file_) throw Failure("cannot be read; does it exist, and may this account read it?");
    size_ = static_cast<std::uint64_t>(file_.tellg());
    ReadDirectory();
  }

  std::vector<std::string> Names() const override {
    std::vector<std::string> names;
    for (const auto& [name, entry] : entries_) names.push_back(name);
    return names;
  }

  void Read(const std::string& name, const Sink& sink) override {
    const Entry& entry = entries_.at(name);
    const std::string local = Bytes(entry.offset, kLocalSize);
    if (Number32(local, 0) != kLocalMark) Refuse("a file is not where the directory says");
    const std::size_t nameSize = Number16(local, 26);
    if (Bytes(entry.offset + kLocalSize, nameSize) != name) Refuse("a file has two names");
    const std::uint64_t start = entry.offset + kLocalSize + nameSize + Number16(local, 28);

    std::uint64_t count = 0;
    uLong crc = crc32(0, nullptr, 0);
    const Sink checked = [&](std::string_view bytes) {
      count += bytes.size();
      if (count > entry.size) Refuse("a file is larger than the directory says");
      crc = crc32(crc, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
      sink(bytes);
    };
    ReadPacked(entry, start, checked);
    if (count != entry.size || crc != entry.crc) Refuse("a file is not the one that was packed");
  }

 private:
  struct Total {
    std::uint64_t size = 0, packed = 0;
  };

  void ReadPacked(const Entry& entry, std::uint64_t start, const Sink& sink) {
    Inflater inflater;
    for (std::uint64_t at = 0; at < entry.packed; at += kPiece) {
      const std::string piece = Bytes(start + at, std::min<std::uint64_t>(kPiece, entry.packed - at));
      if (entry.method == kStored)
        sink(piece);
      else
        inflater.Add(piece, sink);
    }
    if (entry.method == kDeflated && !inflater.IsEnded()) Refuse("a file is cut off");
  }

  // Returns bytes of the zip; refuses what is outside of it. `size` is small.
  std::string Bytes(std::uint64_t at, std::uint64_t size) {
    if (at > size_ || size > size_ - at) Refuse("it is cut off");
    std::string bytes(static_cast<std::size_t>(size), '\0');
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(at));
    if (!file_.read(bytes.data(), static_cast<std::streamsize>(size))) Refuse("it cannot be read");
    return bytes;
  }

  // Returns the record at the end of the zip.
  std::string End() {
    const std::uint64_t most = std::min<std::uint64_t>(size_, kEndSize + kLongestComment);
    const std::string tail = Bytes(size_ - most, most);
    for (std::size_t at = tail.size() < kEndSize ? 0 : tail.size() - kEndSize + 1; at-- > 0;)
      if (Number32(tail, at) == kEndMark && at + kEndSize + Number16(tail, at + 20) == tail.size())
        return tail.substr(at, kEndSize);
    throw Failure("is neither a folder nor a zip");
  }

  void ReadDirectory() {
    const std::string end = End();
    const std::size_t count = Number16(end, 10);
    const std::uint32_t size = Number32(end, 12), offset = Number32(end, 16);
    if (Number16(end, 4) != 0 || offset == kZip64) Refuse("packages are no multi-part and no Zip64 files");
    if (count > kMostFiles || size > kMostDirectory) Refuse("it has more files than a package");
    const std::string directory = Bytes(offset, size);
    std::size_t at = 0;
    Total total;
    std::set<std::string> seen;  // in lower case: Windows unpacks such names into one file
    for (std::size_t i = 0; i < count; ++i) {
      if (directory.size() - at < kEntrySize || Number32(directory, at) != kEntryMark)
        Refuse("its directory is damaged");
      const std::string_view record = std::string_view(directory).substr(at);
      const std::size_t nameSize = Number16(record, 28);
      const std::size_t whole = kEntrySize + nameSize + Number16(record, 30) + Number16(record, 32);
      if (record.size() < whole) Refuse("its directory is damaged");
      at += whole;
      AddEntry(std::string(record.substr(kEntrySize, nameSize)), record, seen, total);
    }
  }

  void AddEntry(std::string name, std::string_view record, std::set<std::string>& seen, Total& total) {
    const bool isFolder = name.ends_with('/');
    if (!IsSafe(isFolder ? std::string_view(name).substr(0, name.size() - 1) : std::string_view(name)))
      Refuse("the name " + Printable(name) + " could lead out of the folder; do not unpack it");
    if (!seen.insert(LowerCase(name)).second) Refuse("it has " + Printable(name) + " twice");
    if (isFolder) return;
    if ((Number32(record, 38) >> 16 & kUnixTypes) == kUnixLink)
      Refuse(Printable(name) + " is a link, which no package has; do not unpack it");
    const Entry entry{Number16(record, 10), Number32(record, 16), Number32(record, 20), Number32(record, 24),
                      Number32(record, 42)};
    if ((Number16(record, 8) & kEncrypted) != 0 || (entry.method != kStored && entry.method != kDeflated))
      Refuse("packages are neither encrypted nor compressed in other ways than deflate");
    total.size += entry.size;
    total.packed += entry.packed;
    if (total.size > kMostBytes) Refuse("its files are larger than a package's");
    if (total.packed > size_) Refuse("its files overlap");
    entries_.emplace(std::move(name), entry);
  }

  std::ifstream file_;
  std::uint64_t size_ = 0;
  std::map<std::string, Entry> entries_;
};

}  // namespace

std::unique_ptr<PackageFiles> OpenZip(const std::filesystem::path& path) {
  return std::make_unique<ZipFiles>(path);
}

}  // namespace varnel::tool
