#include "logging/detail_list.h"

#include "base/malloc_ptr.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

namespace varnel {

// A null item ends the list; the last one is always null.
struct DetailList::Table {
  static constexpr std::size_t kMaxItems = 15;
  MallocPtr<char[]> items[kMaxItems + 1];
};

namespace {

MallocPtr<char[]> CopyItem(const char* begin, std::size_t length) noexcept {
  auto item = AllocateZeroed<char>(length + 1);
  if (item) std::memcpy(item.get(), begin, length);
  return item;
}

}  // namespace

void DetailList::Replace(const char* text) noexcept {
  std::unique_ptr<Table> table(new (std::nothrow) Table);
  if (!table) return;
  for (std::size_t i = 0; i < Table::kMaxItems; ++i) {
    const std::size_t length = std::strcspn(text, ";");
    table->items[i] = CopyItem(text, length);
    if (!table->items[i]) return;
    if (text[length] == '\0') break;
    text += length + 1;
  }
  Exchange(table.release());
}

void DetailList::TakeOver(const char (&text)[kTextCapacity]) noexcept {
  const ExclusiveLock lock(takingOver_);
  if (_stricmp(text, takenOver_) == 0) return;
  Replace(text);
  std::memcpy(takenOver_, text, sizeof(text));
}

void DetailList::Clear() noexcept {
  Exchange(nullptr);
}

void DetailList::Exchange(Table* replacement) noexcept {
  const ExclusiveLock lock(readers_);
  const std::unique_ptr<Table> old(table_.exchange(replacement));
}

bool DetailList::Contains(const char* facility) const noexcept {
  const SharedLock lock(readers_);
  const Table* const table = table_.load();
  if (!table) return false;
  for (const auto& item : table->items) {
    if (!item) return false;
    if (_stricmp(item.get(), facility) == 0) return true;
  }
  return false;
}

}  // namespace varnel
