// varnel.hpp - event reports from C++17. One header; needs the standard library and the Windows SDK, links
// ole32 and oleaut32.
//
//   const varnel::ComScope com;
//   varnel::Report report(varnel::Library::Registered(), product);
//   report.AddMachine();
//   report.AddEvent(L"MalwareDetected", 1024, 3).SetAttribute("Engine", "heuristics");
//   report.Save();
//
// Every call stands here twice. Save() throws varnel::Error, which says what was wrong and what to do;
// TrySave() does not throw and returns the HRESULT. Without exceptions (-fno-exceptions) there is only the
// second form. A call that fails changes nothing.
//
// Threads: one report and its elements belong to one thread at a time; different reports are independent.
#pragma once

#include <varnel/varnel.h>

#include <charconv>
#include <chrono>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
#define VARNEL_EXCEPTIONS 1
#include <stdexcept>
#endif

namespace varnel {

// Results of this header's own, beside those of varnel.h. All are the system's.
constexpr HRESULT SystemResult(DWORD error) noexcept {
  return static_cast<HRESULT>(0x80070000UL | error);
}
inline constexpr HRESULT kBadText = SystemResult(ERROR_NO_UNICODE_TRANSLATION);
inline constexpr HRESULT kBadName = SystemResult(ERROR_INVALID_NAME);
inline constexpr HRESULT kBadTime = SystemResult(ERROR_INVALID_TIME);
inline constexpr HRESULT kBadPath = SystemResult(ERROR_BAD_PATHNAME);

// What a result of any call of this header means, and what to do. Static, terminated, ASCII.
inline VarnelResultText DescribeResult(HRESULT code) noexcept {
  switch (code) {
    case kBadText:
      return {L"a text is not well-formed Unicode, or holds a character that XML cannot hold",
              L"Mend it where it comes from, or pass varnel::Text::Repaired(text), which puts U+FFFD there."};
    case kBadName:
      return {L"the name of an element or attribute is not an XML name",
              L"Begin it with a letter or '_', and go on with letters, digits, '-', '_' and '.'."};
    case kBadTime:
      return {L"the time lies outside of the years 100 to 9999", L"Pass the time of the event, in UTC."};
    case kBadPath:
      return {L"the path is not a full one",
              L"Pass the path with its drive; what else would be searched for it is not safe."};
    case SystemResult(ERROR_FILE_NOT_FOUND):
    case SystemResult(ERROR_PATH_NOT_FOUND):
    case SystemResult(ERROR_MOD_NOT_FOUND):
      return {L"the file is not there",
              L"Pass the full path of varnel.dll, or of varnel.sxs.manifest; where the component is "
              L"registered, install it again."};
    case E_ACCESSDENIED:
      return {L"the file is not there, or this account may not use it",
              L"Let this account read varnel.dll and its folder; where the component is registered, install "
              L"it again."};
    case SystemResult(ERROR_BAD_EXE_FORMAT):
      return {L"the file is not a DLL for programs of this width",
              L"Use the 64-bit varnel.dll in 64-bit programs and the 32-bit one in 32-bit programs."};
    case SystemResult(ERROR_PROC_NOT_FOUND):
    case CLASS_E_CLASSNOTAVAILABLE:
    case E_NOINTERFACE:
      return {L"the DLL is another one", L"Pass the full path of varnel.dll."};
    case SystemResult(ERROR_SXS_CANT_GEN_ACTCTX):
      return {L"the manifest cannot be used in programs of this width",
              L"Keep varnel.sxs.manifest and varnel.dll of this program's width in one folder and pass the "
              L"full path of the first."};
    default:
      return VarnelDescribeResult(code);
  }
}

#if defined(VARNEL_EXCEPTIONS)
// A call that failed. what() is "CALL: MEANING (CODE). REMEDY", ASCII.
class Error : public std::runtime_error {
 public:
  Error(const char* call, HRESULT code) : std::runtime_error(Message(call, code)), code_(code) {}
  HRESULT Code() const noexcept { return code_; }

 private:
  static std::string Message(const char* call, HRESULT code) {
    char digits[8];
    for (int i = 0; i < 8; ++i)
      digits[i] = "0123456789ABCDEF"[static_cast<unsigned long>(code) >> (28 - 4 * i) & 15];
    const VarnelResultText text = DescribeResult(code);
    std::string message = std::string(call) + ": ";
    for (const wchar_t* c = text.meaning; *c; ++c) message += static_cast<char>(*c);
    message.append(" (0x").append(digits, 8).append("). ");
    for (const wchar_t* c = text.remedy; *c; ++c) message += static_cast<char>(*c);
    return message;
  }

  HRESULT code_;
};
#endif

namespace detail {

#if defined(VARNEL_EXCEPTIONS)
inline void Check(const char* call, HRESULT result) {
  if (FAILED(result)) throw Error(call, result);
}
#endif

struct Releaser {
  void operator()(IUnknown* object) const noexcept { object->Release(); }
};
template <class Interface>
using Reference = std::unique_ptr<Interface, Releaser>;

constexpr bool IsHighSurrogate(wchar_t unit) noexcept {
  return unit >= 0xD800 && unit < 0xDC00;
}
constexpr bool IsLowSurrogate(wchar_t unit) noexcept {
  return unit >= 0xDC00 && unit < 0xE000;
}

// The first unit from `at` on that an XML document cannot hold; the size when there is none.
constexpr std::size_t FindFault(std::wstring_view text, std::size_t at = 0) noexcept {
  for (; at < text.size(); ++at) {
    const wchar_t unit = text[at];
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
// What a name may begin with, and what may stand in it besides, as XML 1.0 has it; surrogates stand for
// U+10000 to U+EFFFF.
inline constexpr Range kNameStart[] = {{L'A', L'Z'},     {L'_', L'_'},     {L'a', L'z'},     {0xC0, 0xD6},
                                       {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},   {0x37F, 0x1FFF},
                                       {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF}, {0x3001, 0xDB7F},
                                       {0xDC00, 0xDFFF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}};
inline constexpr Range kNameInside[] = {
    {L'-', L'.'}, {L'0', L'9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t count>
constexpr bool IsIn(const Range (&ranges)[count], wchar_t unit) noexcept {
  for (const Range& range : ranges)
    if (unit >= range.first && unit <= range.last) return true;
  return false;
}

// For a text without faults. There are no namespaces in these documents, so no colon, and no attribute that
// makes one.
constexpr bool IsName(std::wstring_view text) noexcept {
  if (text.empty() || text == L"xmlns" || !IsIn(kNameStart, text[0])) return false;
  for (const wchar_t unit : text)
    if (!IsIn(kNameStart, unit) && !IsIn(kNameInside, unit)) return false;
  return true;
}

}  // namespace detail

// A text for one call, from UTF-16 or UTF-8, as a literal, a string or a view. It is copied once. A text with
// a fault (broken surrogates or UTF-8, control characters, zeros) makes the call that gets it answer
// kBadText.
class Text {
 public:
  Text() noexcept = default;  // no text at all: null
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
      : bstr_(std::exchange(other.bstr_, nullptr)), status_(std::exchange(other.status_, S_OK)) {}
  Text& operator=(Text&& other) noexcept {
    std::swap(bstr_, other.bstr_);
    std::swap(status_, other.status_);
    return *this;
  }
  ~Text() { SysFreeString(bstr_); }

  // With U+FFFD in the place of each fault: for file names and other texts that an attacker may have made.
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
  // S_OK, kBadText or E_OUTOFMEMORY.
  HRESULT Status() const noexcept { return status_; }
  HRESULT StatusAsName() const noexcept {
    if (FAILED(status_) || !bstr_) return status_;
    return detail::IsName({bstr_, SysStringLen(bstr_)}) ? S_OK : kBadName;
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
    if (utf16.size() <= kLongest) bstr_ = SysAllocStringLen(utf16.data(), static_cast<UINT>(utf16.size()));
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
    bstr_ = SysAllocStringLen(nullptr, static_cast<UINT>(units));
    if (bstr_) MultiByteToWideChar(CP_UTF8, flags, utf8.data(), size, bstr_, units);
    Look(repair);
  }
  void Look(bool repair) noexcept {
    if (!bstr_) {
      status_ = E_OUTOFMEMORY;
      return;
    }
    const std::wstring_view text(bstr_, SysStringLen(bstr_));
    std::size_t fault = detail::FindFault(text);
    if (fault < text.size() && !repair) status_ = kBadText;
    for (; fault < text.size() && repair; fault = detail::FindFault(text, fault + 1)) bstr_[fault] = 0xFFFD;
  }

  BSTR bstr_ = nullptr;
  HRESULT status_ = S_OK;
};

namespace detail {

template <class... Texts>
HRESULT FirstFailure(const Texts&... texts) noexcept {
  HRESULT result = S_OK;
  (void)((result = texts.Status(), SUCCEEDED(result)) && ...);
  return result;
}

// Of any precision: that of the system's clock does not reach all the years of a DATE.
template <class Duration>
using SystemTime = std::chrono::time_point<std::chrono::system_clock, Duration>;

// Whole seconds, cut: an event is not reported before it has happened.
template <class Duration>
HRESULT ToDate(SystemTime<Duration> time, DATE& date) noexcept {
  constexpr long long kSecondsOfDay = 86400;
  constexpr long long kUnixEpoch = 25569;  // in days of Automation, which have their zero on 30 December 1899
  constexpr long long kYear100 = -657434;
  constexpr long long kYear10000 = 2958466;
  constexpr long long kFirst = (kYear100 - kUnixEpoch) * kSecondsOfDay;
  constexpr long long kEnd = (kYear10000 - kUnixEpoch) * kSecondsOfDay;
  using Seconds = std::chrono::duration<long long>;
  // Roughly first: what is far away does not fit into Seconds.
  const double rough = std::chrono::duration<double>(time.time_since_epoch()).count();
  if (!(rough > static_cast<double>(kFirst - 60) && rough < static_cast<double>(kEnd + 60))) return kBadTime;
  const long long seconds = std::chrono::floor<Seconds>(time.time_since_epoch()).count();
  if (seconds < kFirst || seconds >= kEnd) return kBadTime;
  const long long since = seconds + kUnixEpoch * kSecondsOfDay;
  const long long day = since / kSecondsOfDay - (since % kSecondsOfDay < 0 ? 1 : 0);
  const double part = static_cast<double>(since - day * kSecondsOfDay) / static_cast<double>(kSecondsOfDay);
  // Before the zero the time of day counts away from it.
  date = static_cast<double>(day) + (day < 0 ? -part : part);
  return S_OK;
}

template <class Number>
constexpr bool kIsInteger =
    std::is_integral_v<Number> && !std::is_same_v<Number, bool> && !std::is_same_v<Number, char> &&
    !std::is_same_v<Number, wchar_t> && !std::is_same_v<Number, char16_t> &&
#if defined(__cpp_char8_t)
    !std::is_same_v<Number, char8_t> &&
#endif
    !std::is_same_v<Number, char32_t>;

}  // namespace detail

// COM on this thread, as long as this lives; also where the host has initialised COM already, in whatever
// way. Let it go after every report and element of the registered class: with the last of them COM may unload
// the library.
class ComScope {
 public:
  ComScope() noexcept : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~ComScope() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;

 private:
  HRESULT result_;
};

// Where reports come from. Make one and keep it as long as its reports.
class Library {
 public:
  // The registered class, or the one that the program's own manifest names. Wants COM on the thread. In a
  // single-threaded apartment COM keeps the object elsewhere, and each call takes the time of a switch of
  // threads.
  Library() noexcept = default;
  [[nodiscard]] static Library Registered() noexcept { return Library(); }
#if defined(VARNEL_EXCEPTIONS)
  [[nodiscard]] static Library FromFile(const wchar_t* dll) {
    Library library;
    detail::Check("Library::FromFile", library.TryOpenFile(dll));
    return library;
  }
  [[nodiscard]] static Library SideBySide(const wchar_t* manifest) {
    Library library;
    detail::Check("Library::SideBySide", library.TryOpenSideBySide(manifest));
    return library;
  }
#endif

  // That DLL, registered or not; a full path. What it needs itself is taken from the system's folder only. It
  // is unloaded with the library, unless something of it is still in use.
  [[nodiscard]] HRESULT TryOpenFile(const wchar_t* dll) noexcept {
    constexpr DWORD kNeedsFromSystemFolder = 0x800;  // LOAD_LIBRARY_SEARCH_SYSTEM32, which old headers lack
    if (!IsFull(dll)) return kBadPath;
    Module module(LoadLibraryExW(dll, nullptr, kNeedsFromSystemFolder));
    if (!module && GetLastError() == ERROR_INVALID_PARAMETER)  // a system that does not know the flag
      module.reset(LoadLibraryExW(dll, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    if (!module) return SystemResult(GetLastError());
    if (!Export<GetClassObject>(module.get(), "DllGetClassObject")) return SystemResult(ERROR_PROC_NOT_FOUND);
    module_ = std::move(module);
    return S_OK;
  }

  // The DLL beside varnel.sxs.manifest, by a full path of that, when the manifest fits this program.
  [[nodiscard]] HRESULT TryOpenSideBySide(const wchar_t* manifest) noexcept {
    if (!IsFull(manifest)) return kBadPath;
    ACTCTXW request{};
    request.cbSize = sizeof(request);
    request.lpSource = manifest;
    void* const context = CreateActCtxW(&request);
    if (context == INVALID_HANDLE_VALUE) return SystemResult(GetLastError());
    ReleaseActCtx(context);
    constexpr std::wstring_view kName = L"varnel.dll";
    const std::wstring_view path(manifest);
    const std::size_t folder = path.find_last_of(L"\\/") + 1;
    const std::unique_ptr<wchar_t[]> dll(new (std::nothrow) wchar_t[folder + kName.size() + 1]());
    if (!dll) return E_OUTOFMEMORY;
    path.copy(dll.get(), folder);
    kName.copy(dll.get() + folder, kName.size());
    return TryOpenFile(dll.get());
  }

  // A new report object, for who goes on with the interfaces themselves. The caller owns the reference.
  [[nodiscard]] HRESULT TryCreate(IOrbaEventInf3** report) const noexcept {
    void* made = nullptr;
    const HRESULT result = module_ ? CreateFromFile(&made)
                                   : CoCreateInstance(__uuidof(OrbaEventInf), nullptr, CLSCTX_INPROC_SERVER,
                                                      __uuidof(IOrbaEventInf3), &made);
    if (SUCCEEDED(result)) *report = static_cast<IOrbaEventInf3*>(made);
    return result;
  }

 private:
  using GetClassObject = HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**);
  struct ModuleCloser {
    void operator()(HMODULE module) const noexcept {
      auto* const mayUnload = Export<HRESULT STDAPICALLTYPE()>(module, "DllCanUnloadNow");
      if (!mayUnload || mayUnload() == S_OK) FreeLibrary(module);
    }
  };
  using Module = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleCloser>;

  template <class Function>
  static Function* Export(HMODULE module, const char* name) noexcept {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  }

  static bool IsFull(const wchar_t* path) noexcept {
    if (!path || !path[0]) return false;
    const bool slash = path[0] == L'\\' || path[0] == L'/';
    return slash ? path[1] == path[0] : path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
  }

  HRESULT CreateFromFile(void** report) const noexcept {
    auto* const getClassObject = Export<GetClassObject>(module_.get(), "DllGetClassObject");
    void* made = nullptr;
    const HRESULT result = getClassObject(__uuidof(OrbaEventInf), __uuidof(IClassFactory), &made);
    if (FAILED(result)) return result;
    const detail::Reference<IClassFactory> factory(static_cast<IClassFactory*>(made));
    return factory->CreateInstance(nullptr, __uuidof(IOrbaEventInf3), report);
  }

  Module module_;
};

// An element of a report. It can be used until the report is closed; afterwards its calls fail with E_FAIL,
// as those of an empty one do.
class Element {
 public:
  Element() noexcept = default;
  explicit operator bool() const noexcept { return element_ != nullptr; }
  IEventElement* Get() const noexcept { return element_.get(); }

  // An attribute that is set again gets longer: x, then y, gives xy.
  [[nodiscard]] HRESULT TrySetAttribute(const Text& name, const Text& value) const noexcept {
    const HRESULT fault = CheckCall(name, value);
    return FAILED(fault) ? fault : element_->SetAttributeString(name.Get(), value.Get());
  }
  // Any integer, in decimal.
  template <class Number, std::enable_if_t<detail::kIsInteger<Number>, int> = 0>
  [[nodiscard]] HRESULT TrySetAttribute(const Text& name, Number value) const noexcept {
    if constexpr (sizeof(Number) < sizeof(long) ||
                  (sizeof(Number) == sizeof(long) && std::is_signed_v<Number>)) {
      const HRESULT fault = CheckCall(name, Text());
      return FAILED(fault) ? fault : element_->SetAttributeInt(name.Get(), value);
    } else {
      char digits[std::numeric_limits<Number>::digits10 + 2];
      const char* const end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
      return TrySetAttribute(name, std::string_view(digits, static_cast<std::size_t>(end - digits)));
    }
  }
  // Below this element, behind its other children. `child` may be null.
  [[nodiscard]] HRESULT TryAddChild(const Text& name, const Text& value = {},
                                    Element* child = nullptr) const noexcept {
    return Add(&IEventElement::AddElementInto, name, value, child);
  }
  // Beside this element, behind all children of its parent.
  [[nodiscard]] HRESULT TryAddSibling(const Text& name, const Text& value = {},
                                      Element* sibling = nullptr) const noexcept {
    return Add(&IEventElement::AppendElement, name, value, sibling);
  }

#if defined(VARNEL_EXCEPTIONS)
  // On a temporary, too, the element that comes back can be kept.
  const Element& SetAttribute(const Text& name, const Text& value) const& {
    detail::Check("SetAttribute", TrySetAttribute(name, value));
    return *this;
  }
  Element SetAttribute(const Text& name, const Text& value) && {
    std::as_const(*this).SetAttribute(name, value);
    return std::move(*this);
  }
  template <class Number, std::enable_if_t<detail::kIsInteger<Number>, int> = 0>
  const Element& SetAttribute(const Text& name, Number value) const& {
    detail::Check("SetAttribute", TrySetAttribute(name, value));
    return *this;
  }
  template <class Number, std::enable_if_t<detail::kIsInteger<Number>, int> = 0>
  Element SetAttribute(const Text& name, Number value) && {
    std::as_const(*this).SetAttribute(name, value);
    return std::move(*this);
  }
  Element AddChild(const Text& name, const Text& value = {}) const {
    Element child;
    detail::Check("AddChild", TryAddChild(name, value, &child));
    return child;
  }
  Element AddSibling(const Text& name, const Text& value = {}) const {
    Element sibling;
    detail::Check("AddSibling", TryAddSibling(name, value, &sibling));
    return sibling;
  }
#endif

 private:
  friend class Report;

  HRESULT CheckCall(const Text& name, const Text& value) const noexcept {
    const HRESULT fault = name.StatusAsName();
    if (FAILED(fault)) return fault;
    return element_ ? value.Status() : E_FAIL;
  }
  HRESULT Add(HRESULT (STDMETHODCALLTYPE IEventElement::*method)(BSTR, BSTR, IEventElement**),
              const Text& name, const Text& value, Element* added) const noexcept {
    const HRESULT fault = CheckCall(name, value);
    if (FAILED(fault)) return fault;
    IEventElement* made = nullptr;
    const HRESULT result = (element_.get()->*method)(name.Get(), value.Get(), added ? &made : nullptr);
    if (made) added->element_.reset(made);
    return result;
  }

  detail::Reference<IEventElement> element_;
};

// What a product says of itself. All six are needed; an empty text will do, null will not.
struct Product {
  Text softwareId;  // decides where its reports go, see docs/event-format.md
  Text rootName;    // of the document's elements: the root, and the one that stands for the product
  Text elementName;
  Text name;
  Text version;
  Text family;
};

// What the machine's facts say beside what the library finds itself. Null or empty: the system's own.
struct Machine {
  Text osName = {};
  Text userName = {};
};

// What becomes of reports while the agent is not managed.
enum class Unmanaged {
  kDrop,    // Save writes nothing and succeeds
  kRefuse,  // every call fails with VARNEL_E_NOT_MANAGED
};

// One report, from the product's description to the saved file. Closed when it goes, saved or not.
class Report {
 public:
  Report() noexcept = default;
  Report(Report&&) noexcept = default;
  Report& operator=(Report&& other) noexcept {
    std::swap(report_, other.report_);
    return *this;
  }
  ~Report() { (void)TryClose(); }

  explicit operator bool() const noexcept { return report_ != nullptr; }
  IOrbaEventInf3* Get() const noexcept { return report_.get(); }

  // Also on a report that was open: that one is closed when the new one stands.
  [[nodiscard]] HRESULT TryOpen(const Library& library, const Product& product,
                                Unmanaged unmanaged = Unmanaged::kDrop) noexcept {
    HRESULT result = detail::FirstFailure(product.softwareId, product.name, product.version, product.family);
    if (SUCCEEDED(result)) result = product.rootName.StatusAsName();
    if (SUCCEEDED(result)) result = product.elementName.StatusAsName();
    if (FAILED(result)) return result;
    IOrbaEventInf3* made = nullptr;
    result = library.TryCreate(&made);
    if (FAILED(result)) return result;
    Report opened;
    opened.report_.reset(made);
    const auto initialize =
        unmanaged == Unmanaged::kRefuse ? &IOrbaEventInf3::Initialize3 : &IOrbaEventInf3::Initialize;
    result = (made->*initialize)(product.softwareId.Get(), product.rootName.Get(), product.elementName.Get(),
                                 product.name.Get(), product.version.Get(), product.family.Get());
    if (SUCCEEDED(result)) *this = std::move(opened);
    return result;
  }

  // Once, before Save. The library finds name, address and the other facts of the machine itself.
  [[nodiscard]] HRESULT TryAddMachine(const Machine& machine = {}) const noexcept {
    const HRESULT fault = detail::FirstFailure(machine.osName, machine.userName);
    if (FAILED(fault)) return fault;
    return report_ ? report_->CreateMachineElement(nullptr, machine.osName.Get(), machine.userName.Get())
                   : E_FAIL;
  }

  // A whole event; `event` may be null. The time is written in UTC, to the second.
  template <class Duration = std::chrono::system_clock::duration>
  [[nodiscard]] HRESULT TryAddEvent(const Text& name, long id, long severity,
                                    detail::SystemTime<Duration> time = std::chrono::system_clock::now(),
                                    Element* event = nullptr) const noexcept {
    DATE date = 0;
    HRESULT result = name.StatusAsName();
    if (SUCCEEDED(result)) result = detail::ToDate(time, date);
    if (FAILED(result)) return result;
    if (!report_) return E_FAIL;
    IEventElement* made = nullptr;
    IOrbaEventInf2& typed = *report_;
    result = typed.CreateEventElement(name.Get(), id, severity, date, event ? &made : nullptr);
    if (made) event->element_.reset(made);
    return result;
  }

  // The elements that hold the machine's facts and the product's events, for what a product adds there.
  [[nodiscard]] HRESULT TryGetMachineElement(Element& machine) const noexcept {
    return GetElement(&IOrbaEventInf2::GetMachineElement, machine);
  }
  [[nodiscard]] HRESULT TryGetProductElement(Element& product) const noexcept {
    return GetElement(&IOrbaEventInf2::GetSoftwareElement, product);
  }

  // Writes the file. May be called again, which writes another one.
  [[nodiscard]] HRESULT TrySave() const noexcept { return report_ ? report_->Save() : E_FAIL; }
  // For components of the agent, whose identifiers begin with ORBAAGENT. The extension stands without its
  // dot.
  [[nodiscard]] HRESULT TrySaveAgentEventOnly(const Text& softwareId, const Text& extension) const noexcept {
    const HRESULT fault = detail::FirstFailure(softwareId, extension);
    if (FAILED(fault)) return fault;
    return report_ ? report_->SaveAgentEventOnly(softwareId.Get(), extension.Get()) : E_FAIL;
  }

  // Gives the document back; the report and its elements are empty then. The destructor does it as well.
  HRESULT TryClose() noexcept {
    if (!report_) return E_FAIL;
    const HRESULT result = report_->DeInitialize();
    report_.reset();
    return result;
  }

#if defined(VARNEL_EXCEPTIONS)
  Report(const Library& library, const Product& product, Unmanaged unmanaged = Unmanaged::kDrop) {
    detail::Check("Report", TryOpen(library, product, unmanaged));
  }
  void AddMachine(const Machine& machine = {}) const {
    detail::Check("AddMachine", TryAddMachine(machine));
  }
  template <class Duration = std::chrono::system_clock::duration>
  Element AddEvent(const Text& name, long id, long severity,
                   detail::SystemTime<Duration> time = std::chrono::system_clock::now()) const {
    Element event;
    detail::Check("AddEvent", TryAddEvent(name, id, severity, time, &event));
    return event;
  }
  Element MachineElement() const {
    Element machine;
    detail::Check("MachineElement", TryGetMachineElement(machine));
    return machine;
  }
  Element ProductElement() const {
    Element product;
    detail::Check("ProductElement", TryGetProductElement(product));
    return product;
  }
  void Save() const {
    detail::Check("Save", TrySave());
  }
  void SaveAgentEventOnly(const Text& softwareId, const Text& extension) const {
    detail::Check("SaveAgentEventOnly", TrySaveAgentEventOnly(softwareId, extension));
  }
  void Close() {
    detail::Check("Close", TryClose());
  }
#endif

 private:
  HRESULT GetElement(HRESULT (STDMETHODCALLTYPE IOrbaEventInf2::*method)(IEventElement**),
                     Element& element) const noexcept {
    if (!report_) return E_FAIL;
    IEventElement* made = nullptr;
    const HRESULT result = (report_.get()->*method)(&made);
    if (SUCCEEDED(result)) element.element_.reset(made);
    return result;
  }

  detail::Reference<IOrbaEventInf3> report_;
};

}  // namespace varnel
