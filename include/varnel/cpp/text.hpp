// Part of <varnel/varnel.hpp>: texts for its calls, and the rules of XML for texts and names.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <varnel/cpp/result.hpp>

namespace varnel {
namespace detail {

constexpr bool IsHighSurrogate(wchar_t unit) noexcept {
  return unit >= 0xD800 && unit < 0xDC00;
}
constexpr bool IsLowSurrogate(wchar_t unit) noexcept {
  return unit >= 0xDC00 && unit < 0xE000;
}

// Returns the index of the first UTF-16 unit from `at` on that XML does not allow, or the size of the text.
constexpr std::size_t FindFault(std::wstring_view text, std::size_t at = 0) noexcept {
  for (; at < text.size(); ++at) {
    const wchar_t unit = text[at];
    if (unit >= 0x20 && unit < 0xD800) continue;  // most are
    if (unit < 0x20 ? unit != L'\t' && unit != L'\n' && unit != L'\r'
                    : unit >= 0xFFFE || IsLowSurrogate(unit))
      return at;
    if (!IsHighSurrogate(unit)) continue;
    if (at + 1 == text.size() || !IsLowSurrogate(text[at + 1])) return at;
    ++at;
  }
  return text.size();
}

#if defined(__cpp_lib_char8_t)
inline std::string_view AsChars(std::u8string_view utf8) noexcept {
  return {reinterpret_cast<const char*>(utf8.data()), utf8.size()};
}
#endif

struct Range {
  wchar_t first;
  wchar_t last;
};
// The characters with which an XML 1.0 name may begin, and those that it may have after the first. In the
// first table, high surrogates stand for U+10000 to U+EFFFF.
inline constexpr Range kNameStart[] = {{L'a', L'z'},     {L'A', L'Z'},     {L'_', L'_'},     {0xC0, 0xD6},
                                       {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},   {0x37F, 0x1FFF},
                                       {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF}, {0x3001, 0xDB7F},
                                       {0xDC00, 0xDFFF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}};
inline constexpr Range kNameInside[] = {
    {L'-', L'.'}, {L'0', L'9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};
// In UTF-16 units. XML readers limit names: libxml2 stops at 50,000 bytes.
inline constexpr std::size_t kLongestName = 10'000;

template <std::size_t count>
constexpr bool IsIn(const Range (&ranges)[count], wchar_t unit) noexcept {
  for (const Range& range : ranges)
    if (unit >= range.first && unit <= range.last) return true;
  return false;
}

// True if the text, which FindFault has passed, is an XML name without a colon and not "xmlns": event
// documents have no namespaces.
constexpr bool IsName(std::wstring_view text) noexcept {
  if (text.empty() || text.size() > kLongestName || text == L"xmlns" || !IsIn(kNameStart, text[0]))
    return false;
  for (const wchar_t unit : text) {
    if (unit >= L'a' && unit <= L'z') continue;  // most are
    if (!IsIn(kNameStart, unit) && !IsIn(kNameInside, unit)) return false;
  }
  return true;
}

}  // namespace detail

// A text for one call, copied from a UTF-16 or UTF-8 literal, string or view. A text with broken UTF-8 or
// surrogates, control characters or zeros makes the call return kBadText. A null pointer gives a null text,
// and a moved-from text is null too: it is not a name, and not a text where one is required; elsewhere it
// counts as empty.
class Text {
 public:
  Text() noexcept = default;
  Text(std::nullptr_t) noexcept {}
  Text(std::wstring_view utf16) noexcept { Copy(utf16, false); }
  Text(std::string_view utf8) noexcept { Convert(utf8, false); }
  Text(const std::wstring& utf16) noexcept : Text(std::wstring_view(utf16)) {}
  Text(const std::string& utf8) noexcept : Text(std::string_view(utf8)) {}
  Text(const wchar_t* utf16) noexcept {
    if (utf16) Copy(utf16, false);
  }
  Text(const char* utf8) noexcept {
    if (utf8) Convert(utf8, false);
  }
  Text(Text&& other) noexcept
      : bstr_(std::exchange(other.bstr_, nullptr)),
        size_(std::exchange(other.size_, 0U)),
        status_(std::exchange(other.status_, S_OK)) {}
  Text& operator=(Text&& other) noexcept {
    Text moved(std::move(other));
    std::swap(bstr_, moved.bstr_);
    std::swap(size_, moved.size_);
    std::swap(status_, moved.status_);
    return *this;
  }
  ~Text() { SysFreeString(bstr_); }

  // Returns a copy with U+FFFD in place of each fault. For file names and other texts that an attacker may
  // have written.
  [[nodiscard]] static Text Repaired(std::wstring_view utf16) noexcept {
    Text text;
    text.Copy(utf16, true);
    return text;
  }
  [[nodiscard]] static Text Repaired(std::string_view utf8) noexcept {
    Text text;
    text.Convert(utf8, true);
    return text;
  }
  [[nodiscard]] static Text Repaired(const wchar_t* utf16) noexcept {
    return utf16 ? Repaired(std::wstring_view(utf16)) : Text();
  }
  [[nodiscard]] static Text Repaired(const char* utf8) noexcept {
    return utf8 ? Repaired(std::string_view(utf8)) : Text();
  }

  BSTR Get() const noexcept { return bstr_; }
  std::wstring_view View() const noexcept { return {bstr_, size_}; }

  // Returns S_OK (for a null text, too), kBadText or E_OUTOFMEMORY.
  HRESULT Status() const noexcept { return status_; }
  // Returns kNullText for a null text, otherwise Status().
  HRESULT StatusAsNeeded() const noexcept { return SUCCEEDED(status_) && !bstr_ ? kNullText : status_; }
  // Returns Status() if it is a failure, otherwise kBadName for a null text or one that is not an XML name.
  HRESULT StatusAsName() const noexcept {
    return FAILED(status_) ? status_ : detail::IsName(View()) ? S_OK : kBadName;
  }
#if defined(__cpp_lib_char8_t)
  Text(std::u8string_view utf8) noexcept : Text(detail::AsChars(utf8)) {}
  Text(const std::u8string& utf8) noexcept : Text(std::u8string_view(utf8)) {}
  Text(const char8_t* utf8) noexcept : Text(reinterpret_cast<const char*>(utf8)) {}
  [[nodiscard]] static Text Repaired(std::u8string_view utf8) noexcept {
    return Repaired(detail::AsChars(utf8));
  }
  [[nodiscard]] static Text Repaired(const char8_t* utf8) noexcept {
    return Repaired(reinterpret_cast<const char*>(utf8));
  }
#endif

 private:
  static constexpr std::size_t kLongest = 0x3FFFFFFF;

  void Copy(std::wstring_view utf16, bool repair) noexcept {
    size_ = static_cast<UINT>(utf16.size());
    if (utf16.size() <= kLongest) bstr_ = SysAllocStringLen(utf16.data(), size_);
    Look(repair);
  }
  void Convert(std::string_view utf8, bool repair) noexcept {
    if (utf8.size() > kLongest) return Look(repair);
    const int size = static_cast<int>(utf8.size());
    const DWORD flags = repair ? 0 : MB_ERR_INVALID_CHARS;
    const int units = MultiByteToWideChar(CP_UTF8, flags, utf8.data(), size, nullptr, 0);
    if (units == 0 && size != 0) {
      status_ = kBadText;
      return;
    }
    size_ = static_cast<UINT>(units);
    bstr_ = SysAllocStringLen(nullptr, size_);
    if (bstr_) MultiByteToWideChar(CP_UTF8, flags, utf8.data(), size, bstr_, units);
    Look(repair);
  }
  void Look(bool repair) noexcept {
    if (!bstr_) {
      size_ = 0;
      status_ = E_OUTOFMEMORY;
      return;
    }
    const std::wstring_view text = View();
    std::size_t fault = detail::FindFault(text);
    if (fault < text.size() && !repair) status_ = kBadText;
    for (; fault < text.size() && repair; fault = detail::FindFault(text, fault + 1)) bstr_[fault] = 0xFFFD;
  }

  BSTR bstr_ = nullptr;
  UINT size_ = 0;  // in UTF-16 units
  HRESULT status_ = S_OK;
};

}  // namespace varnel
