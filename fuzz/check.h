#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace varnel::fuzz {

// Ends the fuzzer or the test if `holds` is false.
inline void Require(bool holds, const char* property) {
  if (!holds) throw std::logic_error(property);
}

// The bytes from which a check takes its arguments; zeros follow the last one.
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
  // Returns a text whose length is in the next byte: ASCII, or any UTF-16 units, surrogates included.
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

// Each check calls the library, or a part of varnel.exe, with arguments from the bytes, and compares the
// results with a simple model.
void CheckDocument(Input input);
void CheckFilter(Input input);
void CheckEventFile(Input input);
void CheckCatalogue(Input input);
void CheckRedaction(Input input);

}  // namespace varnel::fuzz
