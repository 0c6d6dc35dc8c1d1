#include "machine/registry_value.h"

#include "console/wide_text.h"

#include <cstring>
#include <iterator>

namespace varnel::tool {
namespace {

constexpr const char* kTypes[] = {"REG_NONE",
                                  "REG_SZ",
                                  "REG_EXPAND_SZ",
                                  "REG_BINARY",
                                  "REG_DWORD",
                                  "REG_DWORD_BIG_ENDIAN",
                                  "REG_LINK",
                                  "REG_MULTI_SZ",
                                  "REG_RESOURCE_LIST",
                                  "REG_FULL_RESOURCE_DESCRIPTOR",
                                  "REG_RESOURCE_REQUIREMENTS_LIST",
                                  "REG_QWORD"};

std::string TypeName(DWORD type) {
  return type < std::size(kTypes) ? kTypes[type] : "type " + std::to_string(type);
}

}  // namespace

std::wstring RegistryValue::Text() const {
  std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
  return text.substr(0, text.find(L'\0'));
}

std::optional<RegistryValue> ReadValue(const RegistryKey& key, const wchar_t* name) {
  constexpr DWORD kMost = 65'536;
  if (!key) return std::nullopt;
  RegistryValue value;
  value.bytes.resize(kMost);
  DWORD size = kMost;
  if (RegQueryValueExW(key.Get(), name, nullptr, &value.type, value.bytes.data(), &size) != ERROR_SUCCESS)
    return std::nullopt;
  value.bytes.resize(size);
  return value;
}

std::string Described(const RegistryValue& value) {
  constexpr std::size_t kMost = 100;  // characters of a text
  const std::string type = TypeName(value.type);
  if (value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ) {
    const std::wstring text = value.Text();
    return type + " \"" + Printable(text.substr(0, kMost)) + (text.size() > kMost ? "...\"" : "\"");
  }
  if (value.IsNumber()) {
    DWORD number = 0;
    std::memcpy(&number, value.bytes.data(), sizeof(number));
    return type + " " + std::to_string(number);
  }
  return type + " of " + std::to_string(value.bytes.size()) + (value.bytes.size() == 1 ? " byte" : " bytes");
}

}  // namespace varnel::tool
