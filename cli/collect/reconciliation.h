#pragma once

#include "collect/json_reader.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace varnel::tool {

// A number of lines, with the identifier of the first.
struct Finding {
  std::uint64_t count = 0;
  std::string first;
  void Add(std::string_view id) {
    if (count++ == 0) first = id;
  }
};

// Compares the lines that were handed over with those that came out at the other end. Time is linear. A line
// that was handed over takes about 80 bytes of memory; one that came out takes none.
class Reconciliation {
 public:
  // With kIdentifiers a line may have other bytes than the one that was handed over.
  enum class Compare { kBytes, kIdentifiers };
  explicit Reconciliation(Compare compare) : compare_(compare) {}

  // Adds what a receipt names. Call it for all receipts before TakeLine.
  void TakeReceipt(const ReceiptLines& receipt);
  // Takes a line from the other end, without its line end.
  LineState TakeLine(std::string_view line);

  // Lines of one receipt that have not arrived.
  struct MissingLines {
    std::uint64_t count = 0;
    std::size_t first = 0;  // their lowest place in the receipt, from 0
  };
  // Returns an entry for each receipt, in the order of TakeReceipt.
  [[nodiscard]] std::vector<MissingLines> Missing() const;

  [[nodiscard]] std::uint64_t HandedOver() const { return handedOver_.size(); }
  [[nodiscard]] std::uint64_t Arrived() const { return arrived_; }  // lines with an identifier
  // Lines after the first with the same identifier: in the receipts, and at the other end.
  [[nodiscard]] const Finding& HandedOverTwice() const { return handedOverTwice_; }
  [[nodiscard]] const Finding& Twice() const { return twice_; }
  // Lines whose identifier no receipt has.
  [[nodiscard]] const Finding& Foreign() const { return foreign_; }
  // Lines whose bytes are not those that were handed over.
  [[nodiscard]] const Finding& Changed() const { return changed_; }

 private:
  // The first half of the SHA-256 of an identifier: who chooses file names cannot make two of them alike.
  using Key = std::array<std::uint64_t, 2>;
  struct KeyHash {
    std::size_t operator()(const Key& key) const noexcept { return static_cast<std::size_t>(key[0]); }
  };
  struct Line {
    std::uint64_t digest = 0;
    std::size_t number = 0;  // in the order of the receipts
    bool hasArrived = false;
  };
  static Key KeyOf(std::string_view id);

  const Compare compare_;
  std::unordered_map<Key, Line, KeyHash> handedOver_;
  std::vector<std::size_t> ends_;  // for each receipt, the number of the line after its last
  std::uint64_t arrived_ = 0;
  Finding handedOverTwice_, twice_, foreign_, changed_;
};

}  // namespace varnel::tool
