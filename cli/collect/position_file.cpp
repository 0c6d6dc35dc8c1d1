#include "collect/position_file.h"

#include "console/hex_text.h"
#include "console/sha256.h"

#include <charconv>
#include <type_traits>
#include <utility>

namespace varnel::tool {
namespace {

constexpr std::string_view kHeader = "varnel-position-1 ";

// Appends units as they are, or as "%" and hexadecimal digits.
template <class Unit>
void Encode(std::string& text, std::basic_string_view<Unit> units) {
  for (const Unit unit : units) {
    if (unit > ' ' && unit < 0x7F && unit != '%') {
      text += static_cast<char>(unit);
      continue;
    }
    text += '%';
    const auto number = static_cast<std::make_unsigned_t<Unit>>(unit);
    for (int shift = static_cast<int>(sizeof(Unit)) * 8 - 4; shift >= 0; shift -= 4)
      text += "0123456789abcdef"[number >> shift & 15];
  }
}

template <class Number>
bool Parse(std::string_view digits, Number& number, int base) {
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
  return error == std::errc() && end == digits.data() + digits.size();
}

std::string HeaderOf(std::string_view records) {
  Sha256 sum;
  sum.Add(records);
  return std::string(kHeader) + std::to_string(records.size()) + " " + sum.Finish() + "\n";
}

// Removes the header from the file's text and returns the size of the first part; nothing if the header or
// the first part has been damaged.
std::optional<std::size_t> TakeHeader(std::string_view& text) {
  const std::size_t end = text.find('\n');
  if (end == text.npos || !text.starts_with(kHeader)) return std::nullopt;
  const std::string_view header = text.substr(0, end + 1);
  std::size_t size = 0;
  if (!Parse(header.substr(kHeader.size(), header.rfind(' ') - kHeader.size()), size, 10) ||
      size > text.size() - header.size() || header != HeaderOf(text.substr(header.size(), size)))
    return std::nullopt;
  text.remove_prefix(header.size());
  return size;
}

std::string ReadAll(InputFile& input) {
  std::string text(static_cast<std::size_t>(input.Size()), '\0');
  std::size_t done = 0;
  while (const std::size_t count = input.Read(text.data() + done, text.size() - done)) done += count;
  text.resize(done);
  return text;
}

}  // namespace

Failure CannotWrite(const NativePath& path, const FileError& error) {
  return Failure(Printable(ToUtf8(path)) + " cannot be written: " + DescribeError(error.number));
}

FileError ReplaceWhole(const NativePath& path, std::string_view bytes) {
  const NativePath temporary = path + ToNative(".new");
  {
    AppendFile next(temporary, 0);
    FileError error = next.Write(bytes);
    if (IsGood(error)) error = next.Flush();
    if (!IsGood(error)) return error;
  }
  return RenameFile(temporary, path);
}

RecordWriter& RecordWriter::Numbers(std::initializer_list<std::uint64_t> numbers) {
  for (const std::uint64_t number : numbers) text_ += ' ' + std::to_string(number);
  return *this;
}

RecordWriter& RecordWriter::Path(NativePathView path) {
  text_ += ' ';
  Encode(text_, path);
  return *this;
}

RecordWriter& RecordWriter::Text(std::string_view text) {
  text_ += ' ';
  Encode(text_, text);
  return *this;
}

std::string_view RecordReader::Next() {
  const std::size_t end = rest_.find(' ');
  const std::string_view field = rest_.substr(0, end);
  rest_.remove_prefix(end == rest_.npos ? rest_.size() : end + 1);
  return field;
}

std::uint64_t RecordReader::Number() {
  std::uint64_t number = 0;
  isGood_ = Parse(Next(), number, 10) && isGood_;
  return number;
}

template <class Unit>
std::basic_string<Unit> RecordReader::Decoded() {
  constexpr std::size_t kDigits = sizeof(Unit) * 2;
  const std::string_view field = Next();
  isGood_ = isGood_ && !field.empty();
  std::basic_string<Unit> units;
  for (std::size_t i = 0; i < field.size(); ++i) {
    std::make_unsigned_t<Unit> number = static_cast<unsigned char>(field[i]);
    if (field[i] == '%') {
      isGood_ = Parse(field.substr(i + 1, kDigits), number, 16) && isGood_;
      i += kDigits;
    }
    units += static_cast<Unit>(number);
  }
  return units;
}

NativePath RecordReader::Path() {
  return Decoded<NativePath::value_type>();
}

std::string RecordReader::Text() {
  return Decoded<char>();
}

PositionFile::PositionFile(NativePath path) : path_(std::move(path)) {}

bool PositionFile::Load(const std::function<bool(RecordReader&)>& take) {
  const std::string name = Printable(ToUtf8(path_));
  InputFile input(path_, InputFile::Links::kRefuse);
  const std::string file = ReadAll(input);
  if (input.Error().problem == Problem::kMissing) return false;
  if (input.Error().problem != Problem::kNone)
    throw Failure(name + ": " + DescribeError(input.Error().number));
  std::string_view text = file;
  const std::optional<std::size_t> guarded = TakeHeader(text);
  bool isGood = guarded.has_value();
  for (std::size_t at = 0, end; isGood && (end = text.find('\n', at)) != text.npos; at = end + 1) {
    RecordReader record(text.substr(at, end - at));
    if (take(record) && record.IsGood()) continue;
    if (at >= *guarded) break;  // after a power failure the end of the file may be anything
    isGood = false;
  }
  if (!isGood)
    throw Failure(name +
                  " has been damaged; delete it to start again: each event file that is still in its "
                  "folder is then taken once more, and event.id shows the duplicates");
  return true;
}

FileError PositionFile::Rewrite(std::string_view records) {
  const std::string whole = HeaderOf(records).append(records);
  file_.reset();  // WINDOWS: an open file cannot be replaced
  const FileError error = ReplaceWhole(path_, whole);
  if (IsGood(error)) size_ = whole.size();
  if (size_ > 0) file_.emplace(path_, size_);
  isTorn_ = false;
  return error;
}

FileError PositionFile::Append(std::string_view records) {
  FileError error = isTorn_ ? file_->CutTo(size_) : FileError();
  if (!IsGood(error)) return error;
  error = file_->Write(records);
  isTorn_ = !IsGood(error);
  last_ = size_;
  if (!isTorn_) size_ += records.size();
  return error;
}

void PositionFile::TakeBack() {
  isTorn_ = isTorn_ || size_ != last_;
  size_ = last_;
}

}  // namespace varnel::tool
