#pragma once

#include <string>

namespace varnel::tool {

// Returns the identifier that the linker has given this program, in lower-case hexadecimal digits; the
// symbols of the same build have it too. Empty if the program was linked without one.
[[nodiscard]] std::string BuildIdentifier();

}  // namespace varnel::tool
