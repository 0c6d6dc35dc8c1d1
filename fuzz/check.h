#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace varnel::fuzz {

// A property that does not hold ends a fuzzer, and a test.
inline void Require(bool holds, const char* property) {
  if (!holds) throw std::logic_error(property);
}

// The bytes that a check makes its arguments from; zeros follow the last one.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  bool Empty() const { return rest_.empty(); }
  unsigned Byte() {
    if (rest_.empty()) return 0;
    const auto byte = static_cast<unsigned char>(rest_.front());
    rest_.remove_prefix(1);
    return byte;
  }
  // As many UTF-16 units as the next byte says: ASCII, or any unit of the upper pages, surrogates among them.
  std::wstring Text() {
    std::wstring text;
    for (unsigned left = Byte() % 40; left > 0 && !Empty(); --left) {
      const unsigned byte = Byte();
      text += static_cast<wchar_t>(byte < 0x80 ? byte : byte << 8 | Byte());
    }
    return text;
  }
  std::string Rest() const { return std::string(rest_); }

 private:
  std::string_view rest_;
};

// Each check calls the library, or a part of varnel.exe, with what the bytes say and compares with a model of
// it.
void CheckDocument(Input input);
void CheckFilter(Input input);
void CheckEventFile(Input input);

}  // namespace varnel::fuzz
