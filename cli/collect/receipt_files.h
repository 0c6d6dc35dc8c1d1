#pragma once

#include "collect/json_reader.h"
#include "console/text.h"

#include <functional>
#include <vector>

namespace varnel::tool {

// Reads a receipt. Throws Failure.
[[nodiscard]] ReceiptLines LoadReceipt(const NativePath& path);

// Calls `take` for each receipt that the paths name: files, and folders, whose receipts are taken in the
// order of their numbers. A receipt that a shipper moves meanwhile is taken once if the folder to which it
// goes is named after the one from which it comes. Throws Failure.
void TakeReceipts(const std::vector<NativePath>& paths,
                  const std::function<void(const NativePath& path, const ReceiptLines& receipt)>& take);

}  // namespace varnel::tool
