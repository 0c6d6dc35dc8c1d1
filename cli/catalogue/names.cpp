#include "catalogue/names.h"

#include "console/utf8.h"
#include "eventfile/event_document.h"
#include "eventfile/xml_characters.h"

#include <algorithm>
#include <iterator>

namespace varnel::tool::catalogue {
namespace {

constexpr bool IsLower(char c) {
  return c >= 'a' && c <= 'z';
}
constexpr bool IsUpper(char c) {
  return c >= 'A' && c <= 'Z';
}
constexpr bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}
constexpr char ToUpper(char c) {
  return IsLower(c) ? static_cast<char>(c - 'a' + 'A') : c;
}
constexpr char ToLower(char c) {
  return IsUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}

template <std::size_t kCount>
bool IsOneOf(std::string_view name, const std::string_view (&names)[kCount]) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// Macros of <windows.h> that look like a call, by names that a class could have. Names in capitals only are
// no danger, because ClassName changes them.
constexpr std::string_view kMacros[] = {
    "CopyCursor",    "CopyMemory",     "CreateDialog",     "CreateWindow",     "DialogBox",
    "ExitWindows",   "FillMemory",     "FreeModule",       "FreeProcInstance", "GetCurrentTime",
    "GetFreeSpace",  "GetNextWindow",  "LimitEmsPages",    "LockSegment",      "MakeProcInstance",
    "MoveMemory",    "PostAppMessage", "SecureZeroMemory", "SetSwapAreaSize",  "UnlockResource",
    "UnlockSegment", "Yield",          "ZeroMemory"};

// Keywords of C++ and C#, and macros and types of <windows.h> in small letters.
constexpr std::string_view kKeywords[] = {
    "abstract",  "alignas",   "alignof",  "and",      "as",         "asm",     "assert",   "auto",
    "base",      "bitand",    "boolean",  "linger",   "bitor",      "bool",    "break",    "byte",
    "case",      "catch",     "cdecl",    "char",     "checked",    "class",   "compl",    "concept",
    "const",     "constexpr", "continue", "decimal",  "decltype",   "default", "delegate", "delete",
    "do",        "double",    "else",     "enum",     "errno",      "event",   "explicit", "export",
    "extern",    "false",     "far",      "finally",  "fixed",      "float",   "for",      "foreach",
    "friend",    "goto",      "hyper",    "if",       "implicit",   "in",      "inline",   "int",
    "interface", "internal",  "is",       "lock",     "long",       "max",     "min",      "mutable",
    "namespace", "near",      "new",      "noexcept", "not",        "null",    "nullptr",  "object",
    "operator",  "or",        "out",      "override", "params",     "pascal",  "private",  "protected",
    "public",    "readonly",  "ref",      "register", "requires",   "return",  "sbyte",    "sealed",
    "short",     "signed",    "sizeof",   "small",    "stackalloc", "static",  "stderr",   "stdin",
    "stdout",    "string",    "struct",   "switch",   "template",   "this",    "throw",    "true",
    "try",       "typedef",   "typeid",   "typename", "typeof",     "uint",    "ulong",    "unchecked",
    "union",     "unsafe",    "unsigned", "ushort",   "using",      "virtual", "void",     "volatile",
    "while",     "xor",       "report",   "text",     "time",       "visitor"};  // the last four: names in
                                                                                 // every generated class

// Returns the words of a name joined, each with a capital. Every character but ASCII letters and digits
// separates words.
std::string JoinWords(std::string_view name) {
  std::string joined;
  bool begins = true;
  for (const char c : name) {
    const bool isPart = IsLower(c) || IsUpper(c) || IsDigit(c);
    if (isPart) joined += begins ? ToUpper(c) : c;
    begins = !isPart;
  }
  return joined;
}

}  // namespace

bool IsXmlName(std::string_view utf8) {
  if (utf8.empty() || utf8.size() > kLongestName || utf8 == "xmlns") return false;
  for (bool isFirst = true; !utf8.empty(); isFirst = false) {
    const Decoded next = DecodeUtf8(utf8);
    if (!next.isValid || !(isFirst ? IsNameStart(next.code) : IsNameCharacter(next.code))) return false;
    utf8.remove_prefix(next.length);
  }
  return true;
}

bool IsReserved(std::string_view name, Place place) {
  if (name == kEventFacts[0] || name == kEventFacts[2]) return true;
  if (place == Place::kProductElement) return name == "MachineInfo";
  return place == Place::kChildOfEvent && name == kEventFacts[1];
}

std::string ClassName(std::string_view name) {
  std::string text = JoinWords(name);
  if (text.empty()) return text;
  if (IsDigit(text.front())) text.insert(text.begin(), 'N');
  if (std::none_of(text.begin(), text.end(), IsLower))
    std::transform(text.begin() + 1, text.end(), text.begin() + 1, ToLower);
  if (IsOneOf(text, kMacros)) text += '_';
  return text;
}

std::string VariableName(std::string_view name) {
  std::string text = ClassName(name);
  // Of several capitals in a row the last begins the next word: IPAddress becomes ipAddress.
  for (std::size_t i = 0; i < text.size() && IsUpper(text[i]); ++i) {
    if (i > 0 && i + 1 < text.size() && IsLower(text[i + 1])) break;
    text[i] = ToLower(text[i]);
  }
  if (IsKeyword(text)) text += "Value";
  return text;
}

bool IsKeyword(std::string_view name) {
  return IsOneOf(name, kKeywords);
}

std::string ChildClassName(std::string_view name, std::string_view parentClass) {
  const std::string text = ClassName(name);
  return text == parentClass ? text + "Element" : text;
}

}  // namespace varnel::tool::catalogue
