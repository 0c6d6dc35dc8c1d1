#pragma once

#include <cstdlib>

namespace varnel {

// The decimal digits of a number, with a leading minus sign where needed, without the heap.
class DecimalText {
 public:
  explicit DecimalText(long number) noexcept { _ltow(number, digits_, 10); }
  const wchar_t* c_str() const noexcept { return digits_; }

 private:
  wchar_t digits_[12];
};

}  // namespace varnel
