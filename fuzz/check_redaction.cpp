// Redacts any text in which a secret is written in one of several ways: nothing of the secret is left, in the
// way in which it was written or in any other that the search knows.

#include "bundle/scrubber.h"
#include "check.h"

#include <array>

namespace varnel::fuzz {
namespace {

using tool::Form;
using tool::Scrubber;

// Returns a text that is no part of other texts by chance, with characters that escapes change.
std::string SecretOf(Input& input) {
  constexpr std::array<const char*, 12> kParts = {"Q", "z", "J", "\xC3\xA9", " ", "\\",
                                                  "/", "%", "&", "\"",       "7", "x"};
  std::string secret = "Qzj";
  for (unsigned left = 3 + input.Byte() % 300; left > 0; --left)
    secret += kParts[input.Byte() % kParts.size()];
  return secret + "Vkw";
}

std::string Digits(std::string_view bytes, const char* mark) {
  std::string text;
  for (const char byte : bytes) {
    text += mark;
    text += "0123456789ABCDEF"[static_cast<unsigned char>(byte) >> 4];
    text += "0123456789ABCDEF"[static_cast<unsigned char>(byte) & 15];
  }
  return text;
}

std::string Base64(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  unsigned held = 0, bits = 0;
  for (const char byte : bytes)
    for (held = held << 8 | static_cast<unsigned char>(byte), bits += 8; bits >= 6;)
      text += kDigits[held >> (bits -= 6) & 63];
  if (bits > 0) text += kDigits[held << (6 - bits) & 63];
  return text;
}

std::string Encoded(const std::string& secret, unsigned way) {
  std::string text;
  switch (way % 6) {
    case 0:
      for (const char c : secret) text += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
      return text;
    case 1:
      return Digits(secret, "%");
    case 2:
      return Digits(secret, "\\x");
    case 3:
      return " " + Digits("-" + secret, "") + " ";
    case 4:
      return " " + Base64("- " + secret) + " ";
    default:
      return secret;
  }
}

}  // namespace

void CheckRedaction(Input input) {
  const unsigned way = input.Byte(), other = input.Byte();
  const std::string secret = SecretOf(input);
  const std::string written = Encoded(secret, way);
  const std::string rest = input.Rest().substr(0, 400);
  const std::size_t half = rest.size() / 2;
  // A digit before digits would be a part of them.
  const std::string text =
      rest.substr(0, half) + " " + written + " " + rest.substr(half) + " " + Encoded(secret, other);
  Scrubber scrubber(tool::Key{});
  scrubber.Learn(Form::kSecret, secret);
  scrubber.LearnFrom(text);
  scrubber.FinishLearning();
  const std::string scrubbed = scrubber.Scrub(text);
  Require(scrubbed.find(written) == scrubbed.npos, "a secret is replaced");
  Require(scrubbed.find(secret) == scrubbed.npos, "a secret is replaced in every other form");
  Require(scrubber.Scrub(text) == scrubbed, "stand-ins are stable");
  Require(
      scrubber.StandInFor(Form::kSecret, secret) == scrubber.StandInFor(Form::kSecret, Encoded(secret, 0)),
      "a value has one stand-in");
}

}  // namespace varnel::fuzz
