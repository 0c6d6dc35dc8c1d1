#pragma once

#include <string>
#include <string_view>
#include <vector>

// The JSON that `varnel reconcile` reads.
namespace varnel::tool {

enum class LineState {
  kBroken,    // no JSON object, or one with two identifiers
  kNameless,  // an object without an event.id
  kIdentified,
};
struct LineIdentifier {
  LineState state = LineState::kBroken;
  std::string id;  // UTF-8; empty unless the line is identified
};
// Finds `id` in the object `event`, or the flattened key `event.id`. Memory is bounded by the length of the
// line, however deeply it is nested.
[[nodiscard]] LineIdentifier IdentifyLine(std::string_view line);

// The lists of a receipt that was read: an entry for each line of its segment, in order.
struct ReceiptLines {
  std::string segment;               // file name
  std::vector<std::string> ids;      // event.id
  std::vector<std::string> digests;  // kDigestLength digits of the line's SHA-256
};
inline constexpr std::size_t kDigestLength = 16;
// Throws Failure, a clause without the path, if `json` is no receipt or contradicts itself.
[[nodiscard]] ReceiptLines ReadReceipt(std::string_view json);

}  // namespace varnel::tool
