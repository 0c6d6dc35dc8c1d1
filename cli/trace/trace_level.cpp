#include "trace/trace_level.h"

#include "console/console.h"
#include "logging/log_settings.h"
#include "trace/trace_slot.h"

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace varnel::tool {
namespace {

constexpr wchar_t kLevel[] = L"LogLevel";
constexpr wchar_t kBefore[] = L"LogLevelBeforeTrace";
constexpr DWORD kAccess = KEY_QUERY_VALUE | KEY_SET_VALUE;

// Reads a value; returns nothing if it is missing. Throws Failure if it cannot be read.
std::optional<RegistryValue> Query(const RegistryKey& key, const wchar_t* name) {
  RegistryValue value;
  DWORD size = 0;
  LSTATUS status = ERROR_MORE_DATA;  // the value may grow between two calls
  while (status == ERROR_MORE_DATA || (status == ERROR_SUCCESS && value.bytes.size() < size)) {
    value.bytes.resize(size);
    status = RegQueryValueExW(key.Get(), name, nullptr, &value.type, value.bytes.data(), &size);
  }
  if (status == ERROR_FILE_NOT_FOUND) return std::nullopt;
  if (status != ERROR_SUCCESS)
    throw Failure("the log level cannot be read: Windows error " + std::to_string(status));
  value.bytes.resize(size);
  return value;
}

// Writes the value, or deletes it for nothing. Returns true on success.
bool Put(const RegistryKey& key, const wchar_t* name, const std::optional<RegistryValue>& value) {
  if (value)
    return RegSetValueExW(key.Get(), name, 0, value->type, value->bytes.data(),
                          static_cast<DWORD>(value->bytes.size())) == ERROR_SUCCESS;
  const LSTATUS status = RegDeleteValueW(key.Get(), name);
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

// Returns the value to store for a level that was not set: a value without type and data.
std::optional<RegistryValue> AsItWas(std::optional<RegistryValue> before) {
  if (before && before->type == REG_NONE && before->bytes.empty()) before.reset();
  return before;
}

bool PutBack(const RegistryKey& key, const std::optional<RegistryValue>& old) {
  return Put(key, kLevel, old) && Put(key, kBefore, std::nullopt);
}

RegistryValue Number(DWORD number) {
  RegistryValue value{REG_DWORD, std::vector<std::uint8_t>(sizeof(number))};
  std::memcpy(value.bytes.data(), &number, sizeof(number));
  return value;
}

std::string WordsOf(const std::optional<RegistryValue>& old) {
  DWORD number = 0;
  if (!old) return "not set";
  if (!old->IsNumber()) return "not a number";
  std::memcpy(&number, old->bytes.data(), sizeof(number));
  return std::to_string(number);
}

}  // namespace

ScopedLogLevel::ScopedLogLevel(int level) {
  DWORD disposition = 0;
  const bool isOpen = RegCreateKeyExW(HKEY_LOCAL_MACHINE, kLogKey, 0, nullptr, 0, kAccess, nullptr,
                                      key_.Put(), &disposition) == ERROR_SUCCESS;
  madeKey_ = disposition == REG_CREATED_NEW_KEY;
  if (isOpen) old_ = Query(key_, kLevel);
  if (isOpen && Put(key_, kBefore, old_.value_or(RegistryValue())) &&
      Put(key_, kLevel, Number(static_cast<DWORD>(level))))
    return;
  if (isOpen) Put(key_, kBefore, std::nullopt);
  throw Failure("the log level cannot be set; run varnel trace as an administrator, or leave --level out");
}

ScopedLogLevel::~ScopedLogLevel() {
  PutBack(key_, old_);
  DWORD keys = 0;
  DWORD values = 0;
  RegQueryInfoKeyW(key_.Get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr,
                   nullptr, nullptr);
  key_.Reset();
  if (madeKey_ && keys + values == 0) RegDeleteKeyW(HKEY_LOCAL_MACHINE, kLogKey);
}

bool RepairLogLevel() {
  const RegistryKey looking = OpenRegistryKey(HKEY_LOCAL_MACHINE, kLogKey, KEY_QUERY_VALUE);
  std::optional<RegistryValue> before;
  if (looking) before = Query(looking, kBefore);
  if (!before) return false;
  const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kLogKey, kAccess);
  if (key && PutBack(key, AsItWas(std::move(before)))) return true;
  throw Failure(
      "the log level of a killed trace cannot be restored; run varnel doctor --repair-trace as an "
      "administrator");
}

std::string LevelBeforeKilledTrace() {
  const RegistryKey key = OpenRegistryKey(HKEY_LOCAL_MACHINE, kLogKey, KEY_QUERY_VALUE);
  std::optional<RegistryValue> before;
  if (key) before = Query(key, kBefore);
  return before && !IsTraceRead() ? WordsOf(AsItWas(std::move(before))) : "";
}

}  // namespace varnel::tool
