#pragma once

#include <array>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace varnel::tool {

// What a value is, which decides the form of its stand-in. A value that is known as several is the first of
// these.
enum class Form {
  kIp,
  kMac,
  kGuid,
  kTime,
  kInteger,
  kSha256,
  kMail,
  kSid,
  kUser,
  kMachine,
  kSecret,
  kPersonal,
  kPath,
  kEncoded,
  kFile
};

// Random bytes that no one can guess. Throws Failure if the system has none: random_key_windows.cpp and
// random_key_posix.cpp.
using Key = std::array<char, 32>;
[[nodiscard]] Key RandomKey();

// Makes stand-ins for values: keyed digests (HMAC-SHA-256) in the form of the value. The same value has the
// same stand-in as long as the object lives, and different values have different ones.
class StandIns {
 public:
  explicit StandIns(const Key& key);
  // `value` is in the form in which values are compared: an IP address as its bytes, another value folded.
  [[nodiscard]] const std::string& For(Form form, const std::string& value);

 private:
  [[nodiscard]] std::string Digest(std::string_view text) const;

  std::string inner_, outer_;  // the key, combined with the constants of HMAC
  std::unordered_map<std::string, std::string> standIns_;
  std::unordered_set<std::string> used_;
};

}  // namespace varnel::tool
