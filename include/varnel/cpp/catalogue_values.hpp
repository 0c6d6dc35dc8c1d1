// Part of <varnel/catalogue.hpp>: the types of values. docs/catalogue.md has the text of each in an event
// file. Each of them has Status, which returns S_OK or what keeps the value out of a report, and AsText.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>
#include <varnel/cpp/element.hpp>
#include <varnel/cpp/event_time.hpp>

namespace varnel {

// A whole number from -2^63 to 2^64-1, from any integer type; not from bool or a character.
class Integer {
 public:
  template <class Number, std::enable_if_t<detail::kIsInteger<Number>, int> = 0>
  Integer(Number value) noexcept : amount_(static_cast<unsigned long long>(value)) {
    if constexpr (std::is_signed_v<Number>) {
      isNegative_ = value < 0;
      if (isNegative_) amount_ = 0 - amount_;
    }
  }
  HRESULT Status() const noexcept { return S_OK; }
  Text AsText() const noexcept {
    wchar_t digits[20];
    wchar_t* const end = digits + 20;
    wchar_t* first = end;
    for (unsigned long long rest = amount_; rest != 0 || first == end; rest /= 10)
      *--first = static_cast<wchar_t>(L'0' + rest % 10);
    if (isNegative_) *--first = L'-';  // a negative number has at most 19 digits
    return std::wstring_view(first, static_cast<std::size_t>(end - first));
  }

 private:
  unsigned long long amount_;
  bool isNegative_ = false;
};

// true or false, from bool only.
class Boolean {
 public:
  template <class Value, std::enable_if_t<std::is_same_v<Value, bool>, int> = 0>
  Boolean(Value value) noexcept : value_(value) {}
  HRESULT Status() const noexcept { return S_OK; }
  Text AsText() const noexcept { return value_ ? L"true" : L"false"; }

 private:
  bool value_;
};

// A time in UTC to the second, rounded down, in the years 100 to 9999.
class Time {
 public:
  template <class Duration>
  Time(detail::SystemTime<Duration> time) noexcept {
    DATE date = 0;
    status_ = detail::ToDate(time, date);
    if (SUCCEEDED(status_))
      seconds_ = std::chrono::floor<std::chrono::duration<long long>>(time.time_since_epoch()).count();
  }
  HRESULT Status() const noexcept { return status_; }
  Text AsText() const noexcept {
    constexpr long long kSecondsOfDay = 86400;
    constexpr long long kDaysOf400Years = 146097;
    const long long past = seconds_ + kFirstMarch * kSecondsOfDay;  // since 1 March of the year 0
    const long long day = past / kSecondsOfDay, second = past % kSecondsOfDay;
    // Counts years from March, so that the leap day is the last one of a year.
    const long long era = day / kDaysOf400Years, dayOfEra = day % kDaysOf400Years;
    const long long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const long long fromMarch = (5 * dayOfYear + 2) / 153;
    const long long month = fromMarch < 10 ? fromMarch + 3 : fromMarch - 9;
    const long long year = era * 400 + yearOfEra + (month <= 2 ? 1 : 0);
    wchar_t text[] = L"0000-00-00T00:00:00Z";
    Write(text, 4, year);
    Write(text + 5, 2, month);
    Write(text + 8, 2, dayOfYear - (153 * fromMarch + 2) / 5 + 1);
    Write(text + 11, 2, second / 3600);
    Write(text + 14, 2, second / 60 % 60);
    Write(text + 17, 2, second % 60);
    return std::wstring_view(text, 20);
  }

 private:
  static constexpr long long kFirstMarch = 719468;  // days from 1 March of the year 0 to 1 January 1970

  static void Write(wchar_t* text, int width, long long number) noexcept {
    for (; width > 0; number /= 10) text[--width] = static_cast<wchar_t>(L'0' + number % 10);
  }

  long long seconds_ = 0;  // since 1 January 1970
  HRESULT status_;
};

class Guid {
 public:
  Guid(const GUID& guid) noexcept : guid_(guid) {}
  HRESULT Status() const noexcept { return S_OK; }
  Text AsText() const noexcept {
    wchar_t text[39] = {};
    StringFromGUID2(guid_, text, 39);
    return std::wstring_view(text, 38);
  }

 private:
  GUID guid_;
};

namespace detail {

// Writes the digits of a number without leading zeros, at least `least` of them. Returns the end.
inline wchar_t* WriteHex(wchar_t* at, unsigned number, int least) noexcept {
  for (int shift = 12; shift >= 0; shift -= 4)
    if (number >> shift != 0 || shift < 4 * least) *at++ = L"0123456789abcdef"[number >> shift & 15];
  return at;
}

}  // namespace detail

// A SHA-256 hash.
class Sha256 {
 public:
  Sha256(const std::array<unsigned char, 32>& bytes) noexcept { std::memcpy(bytes_, bytes.data(), 32); }
  Sha256(const std::array<std::byte, 32>& bytes) noexcept { std::memcpy(bytes_, bytes.data(), 32); }
  Sha256(const unsigned char (&bytes)[32]) noexcept { std::memcpy(bytes_, bytes, 32); }
  HRESULT Status() const noexcept { return S_OK; }
  Text AsText() const noexcept {
    wchar_t text[64];
    wchar_t* at = text;
    for (const unsigned char one : bytes_) at = detail::WriteHex(at, one, 2);
    return std::wstring_view(text, 64);
  }

 private:
  unsigned char bytes_[32];
};

namespace detail {

// True for in_addr and in6_addr of <winsock2.h>, which this header does not need. Clang takes two
// specialisations by std::void_t for the same one.
template <class Address, class = void>
struct IsSocketAddress : std::false_type {};
template <class Address>
struct IsSocketAddress<Address, decltype(void(std::declval<Address&>().S_un.S_addr))> : std::true_type {};
template <class Address>
struct IsSocketAddress<Address, decltype(void(std::declval<Address&>().u.Byte))> : std::true_type {};

}  // namespace detail

// An address of IP version 4 or 6, in network byte order.
class Ip {
 public:
  Ip(const std::array<unsigned char, 4>& bytes) noexcept : size_(4) { std::memcpy(bytes_, bytes.data(), 4); }
  Ip(const std::array<unsigned char, 16>& bytes) noexcept : size_(16) {
    std::memcpy(bytes_, bytes.data(), 16);
  }
  template <class Address, std::enable_if_t<detail::IsSocketAddress<Address>::value, int> = 0>
  Ip(const Address& address) noexcept : size_(sizeof(Address)) {
    static_assert(sizeof(Address) == 4 || sizeof(Address) == 16);
    std::memcpy(bytes_, &address, sizeof(Address));
  }
  HRESULT Status() const noexcept { return S_OK; }
  Text AsText() const noexcept {
    wchar_t text[40];
    wchar_t* const end = size_ == 4 ? WriteVersion4(text) : WriteVersion6(text);
    return std::wstring_view(text, static_cast<std::size_t>(end - text));
  }

 private:
  wchar_t* WriteVersion4(wchar_t* at) const noexcept {
    for (int i = 0; i < 4; ++i) {
      const int part = bytes_[i];
      if (i > 0) *at++ = L'.';
      if (part >= 100) *at++ = static_cast<wchar_t>(L'0' + part / 100);
      if (part >= 10) *at++ = static_cast<wchar_t>(L'0' + part / 10 % 10);
      *at++ = static_cast<wchar_t>(L'0' + part % 10);
    }
    return at;
  }
  // Writes "::" for the first of the longest runs of at least two zero groups.
  wchar_t* WriteVersion6(wchar_t* at) const noexcept {
    int gap = 8, longest = 1;
    for (int first = 0; first < 8; ++first) {
      int run = 0;
      while (first + run < 8 && Group(first + run) == 0) ++run;
      if (run > longest) {
        gap = first;
        longest = run;
      }
    }
    for (int i = 0; i < 8; ++i) {
      if (i == gap) {
        *at++ = L':';
        i += longest - 1;
        if (i == 7) *at++ = L':';
        continue;
      }
      if (i > 0) *at++ = L':';
      at = detail::WriteHex(at, Group(i), 1);
    }
    return at;
  }
  unsigned Group(int i) const noexcept {
    const std::size_t first = static_cast<std::size_t>(i) * 2;
    return static_cast<unsigned>(bytes_[first] << 8 | bytes_[first + 1]);
  }

  unsigned char bytes_[16];
  std::size_t size_;
};

// The path of a file, which an attacker may have chosen: its invalid parts become U+FFFD.
class Path {
 public:
  // From std::filesystem::path, which this header does not include.
  template <class Given, class = decltype(Given::preferred_separator)>
  Path(const Given& path) noexcept : text_(Text::Repaired(path.native())) {}
  explicit Path(std::wstring_view utf16) noexcept : text_(Text::Repaired(utf16)) {}
  explicit Path(std::string_view utf8) noexcept : text_(Text::Repaired(utf8)) {}
  HRESULT Status() const noexcept { return text_.StatusAsNeeded(); }
  Text AsText() && noexcept { return std::move(text_); }

 private:
  Text text_;
};

}  // namespace varnel
