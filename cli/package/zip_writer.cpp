#include "package/zip_writer.h"

#include "console/console.h"
#include "package/zip_format.h"

#include <zlib.h>

#include <algorithm>
#include <memory>
#include <new>

namespace varnel::tool {
namespace {

constexpr std::uint32_t kMostFiles16 = 65'535;
constexpr unsigned kVersion = 20;            // of the format, that a reader of deflated files must know
constexpr unsigned kUtf8Names = 1 << 11;     // a flag
constexpr unsigned kFirstDate = 1 << 5 | 1;  // 1980-01-01

// A record of little-endian numbers.
class Record {
 public:
  Record& Two(std::uint32_t number) {
    bytes_ += static_cast<char>(number & 0xFF);
    bytes_ += static_cast<char>(number >> 8 & 0xFF);
    return *this;
  }
  Record& Four(std::uint32_t number) { return Two(number & 0xFFFF).Two(number >> 16); }
  Record& Text(std::string_view text) {
    bytes_ += text;
    return *this;
  }
  const std::string& Bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

struct DeflateEnd {
  void operator()(z_stream* stream) const noexcept { deflateEnd(stream); }
};

std::string Deflated(std::string_view bytes) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    throw std::bad_alloc();
  const std::unique_ptr<z_stream, DeflateEnd> owner(&stream);
  std::string packed(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  if (deflate(&stream, Z_FINISH) != Z_STREAM_END) throw Failure("the zip library cannot compress a file");
  packed.resize(stream.total_out);
  return packed;
}

}  // namespace

void ZipWriter::Add(std::string_view name, std::string_view bytes) {
  constexpr std::uint64_t kMost = kZip64 - 1;
  if (count_ == kMostFiles16) throw Failure("the zip would have more than 65535 files; select fewer");
  const std::string packed = Deflated(bytes);
  const std::uint64_t after = size_ + kLocalSize + name.size() + packed.size();
  const std::uint64_t end = directory_.size() + kEntrySize + name.size() + kEndSize;
  if (bytes.size() > kMost || after + end > kMost)
    throw Failure("the zip would have more than 4 GB; select fewer files");
  const uLong crc = crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
  // Both records of a file have these members in this order.
  Record common;
  common.Two(kVersion).Two(kUtf8Names).Two(kDeflated).Two(0).Two(kFirstDate);
  common.Four(static_cast<std::uint32_t>(crc)).Four(static_cast<std::uint32_t>(packed.size()));
  common.Four(static_cast<std::uint32_t>(bytes.size())).Two(static_cast<std::uint32_t>(name.size())).Two(0);
  const auto offset = static_cast<std::uint32_t>(size_);
  Write(Record().Four(kLocalMark).Text(common.Bytes()).Text(name).Bytes());
  Write(packed);
  directory_ += Record()
                    .Four(kEntryMark)
                    .Two(kVersion)
                    .Text(common.Bytes())
                    .Two(0)
                    .Two(0)
                    .Two(0)
                    .Four(0)
                    .Four(offset)
                    .Text(name)
                    .Bytes();
  ++count_;
}

void ZipWriter::Finish() {
  const auto offset = static_cast<std::uint32_t>(size_);
  const auto size = static_cast<std::uint32_t>(directory_.size());
  Write(directory_);
  Write(Record().Four(kEndMark).Two(0).Two(0).Two(count_).Two(count_).Four(size).Four(offset).Two(0).Bytes());
}

void ZipWriter::Write(std::string_view bytes) {
  sink_(bytes);
  size_ += bytes.size();
}

}  // namespace varnel::tool
