#include "bundle/stand_ins.h"

#include "console/sha256.h"

#include <charconv>
#include <cstdint>

namespace varnel::tool {
namespace {

constexpr std::size_t kBlock = 64;  // of SHA-256, in bytes
constexpr std::size_t kDigits = 12;

std::string Sha256Of(std::string_view one, std::string_view other) {
  Sha256 sum;
  sum.Add(one);
  sum.Add(other);
  return sum.Finish();
}

// The next number below `limit` from hexadecimal digits.
class Numbers {
 public:
  explicit Numbers(std::string_view digits) : digits_(digits) {}
  std::uint64_t Next(std::uint64_t limit) {
    constexpr std::size_t kSize = 12;
    std::uint64_t number = 0;
    std::from_chars(digits_.data(), digits_.data() + kSize, number, 16);
    digits_.remove_prefix(kSize);
    return number % limit;
  }

 private:
  std::string_view digits_;
};

std::string TwoDigits(std::uint64_t number) {
  std::string text = std::to_string(number);
  return text.size() < 2 ? "0" + text : text;
}

// In 240.0.0.0/4, which is reserved, or 2001:db8::/32, which is for documentation.
std::string IpOf(const std::string& digits, bool isVersion4) {
  Numbers numbers(digits);
  if (isVersion4) {
    std::string text = std::to_string(240 + numbers.Next(15));
    for (int i = 0; i < 3; ++i) text += "." + std::to_string(numbers.Next(256));
    return text;
  }
  std::string text = "2001:db8";
  for (std::size_t group = 0; group < 6; ++group) {
    const std::string part = digits.substr(4 * group, 4);
    text += ":" + part.substr(std::min(part.find_first_not_of('0'), part.size() - 1));
  }
  return text;
}

std::string GuidOf(std::string digits) {
  for (char& digit : digits)
    if (digit >= 'a') digit = static_cast<char>(digit - 'a' + 'A');
  // Version 8: of an application's own making.
  return digits.substr(0, 8) + "-" + digits.substr(8, 4) + "-8" + digits.substr(13, 3) + "-8" +
         digits.substr(17, 3) + "-" + digits.substr(20, 12);
}

// In the years 100 to 199.
std::string TimeOf(const std::string& digits) {
  Numbers numbers(digits);
  std::string text = "01" + TwoDigits(numbers.Next(100)) + "-" + TwoDigits(1 + numbers.Next(12));
  text += "-" + TwoDigits(1 + numbers.Next(28)) + "T";
  const std::uint64_t second = numbers.Next(86'400);
  return text + TwoDigits(second / 3600) + ":" + TwoDigits(second / 60 % 60) + ":" + TwoDigits(second % 60) +
         "Z";
}

std::string_view WordOf(Form form) {
  switch (form) {
    case Form::kMail:
      return "mail";
    case Form::kSid:
      return "sid";
    case Form::kUser:
      return "user";
    case Form::kMachine:
      return "machine";
    case Form::kSecret:
      return "secret";
    case Form::kPath:
      return "path";
    case Form::kEncoded:
      return "encoded";
    case Form::kFile:
      return "file";
    default:
      return "personal";
  }
}

std::string StandInOf(Form form, const std::string& value, const std::string& digits) {
  switch (form) {
    case Form::kIp:
      return IpOf(digits, value.size() == 4);
    case Form::kMac:
      return "02" + digits.substr(0, 10);  // an address that no maker assigns
    case Form::kGuid:
      return GuidOf(digits);
    case Form::kTime:
      return TimeOf(digits);
    case Form::kInteger:
      return std::to_string(9'000'000'000 + Numbers(digits).Next(1'000'000'000));
    case Form::kSha256:
      return digits;
    default:
      return std::string(WordOf(form)) + "-" + digits.substr(0, kDigits);
  }
}

}  // namespace

StandIns::StandIns(const Key& key) : inner_(kBlock, '\x36'), outer_(kBlock, '\x5C') {
  for (std::size_t i = 0; i < key.size(); ++i) {
    inner_[i] = static_cast<char>(inner_[i] ^ key[i]);
    outer_[i] = static_cast<char>(outer_[i] ^ key[i]);
  }
}

std::string StandIns::Digest(std::string_view text) const {
  const std::string digits = Sha256Of(inner_, text);
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    unsigned byte = 0;
    std::from_chars(digits.data() + i, digits.data() + i + 2, byte, 16);
    bytes += static_cast<char>(byte);
  }
  return Sha256Of(outer_, bytes);
}

const std::string& StandIns::For(Form form, const std::string& value) {
  const std::string name = std::to_string(static_cast<int>(form)) + " " + value;
  const auto [found, isNew] = standIns_.try_emplace(name);
  // Two values may have the same short form of their digests.
  for (unsigned round = 0; found->second.empty(); ++round) {
    std::string text =
        StandInOf(form, value, Digest(value + (round == 0 ? "" : "#" + std::to_string(round))));
    if (used_.insert(text).second) found->second = std::move(text);
  }
  return found->second;
}

}  // namespace varnel::tool
