#pragma once

#include "logging/facility.h"

#include <cstdint>

namespace varnel {

// What "%x" prints for an object in log lines: its address, as far as 32 bits hold it.
inline unsigned IdentityOf(const void* object) noexcept {
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(object));
}

}  // namespace varnel
