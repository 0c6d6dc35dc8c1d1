#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <limits>
#include <random>
#include <string>
#include <varnel/catalogue.hpp>
#include <vector>

// Random values of every type of a catalogue, the same for a seed.
class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}

  std::uint64_t Below(std::uint64_t end) { return engine_() % end; }
  bool Coin() { return Below(2) == 0; }
  template <class Value>
  Value Pick(std::initializer_list<Value> values) {
    return values.begin()[Below(values.size())];
  }
  // Returns a text with markup, foreign letters, surrogate pairs, and blanks at its ends.
  std::wstring Text() {
    constexpr std::wstring_view kParts[] = {L"a",      L"Z",          L"0",  L" ",  L"<&>\"'", L"\u00F6",
                                            L"\u6F22", L"\U0001F600", L"\t", L"\n", L"]]>"};
    std::wstring text;
    for (std::uint64_t left = Below(12); left > 0; --left) text += kParts[Below(std::size(kParts))];
    return text;
  }
  std::int64_t Integer() {
    return Coin() ? static_cast<std::int64_t>(engine_())
                  : Pick<std::int64_t>({0, 1, -1, 97, std::numeric_limits<std::int64_t>::min(),
                                        std::numeric_limits<std::int64_t>::max()});
  }
  bool Boolean() { return Coin(); }
  std::chrono::system_clock::time_point Time() {
    return std::chrono::system_clock::time_point(
        std::chrono::seconds(static_cast<std::int64_t>(Below(9'000'000'000)) - 2'000'000'000));
  }
  GUID Guid() { return Bytes<GUID>(); }
  std::array<unsigned char, 32> Sha256() { return Bytes<std::array<unsigned char, 32>>(); }
  // Addresses of version 6 have runs of zeros.
  varnel::Ip Ip() {
    if (Coin()) return Bytes<std::array<unsigned char, 4>>();
    auto address = Bytes<std::array<unsigned char, 16>>();
    for (unsigned char& one : address)
      if (Below(3) > 0) one = 0;
    return address;
  }
  std::filesystem::path Path() {
    return Coin() ? std::filesystem::path(L"C:\\a b\\\xD800.exe") : std::filesystem::path(Text());
  }
  template <class Item, class Make>
  varnel::Many<Item> Many(Make make) {
    if (Coin()) return {make()};
    if (Coin()) return {make(), make(), make()};
    std::vector<Item> items;
    do items.push_back(make());
    while (Coin());
    return items;
  }

 private:
  template <class Value>
  Value Bytes() {
    Value value{};
    auto* const bytes = reinterpret_cast<unsigned char*>(&value);
    for (std::size_t i = 0; i < sizeof(value); ++i) bytes[i] = static_cast<unsigned char>(engine_());
    return value;
  }

  std::mt19937_64 engine_;
};

// Adds a random event to a report.
using Add = void (*)(Random&, const varnel::Report&);
extern const Add kEvents[];
extern const int kEventCount;
varnel::Product Describe();
