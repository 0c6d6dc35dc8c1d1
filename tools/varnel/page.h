#pragma once

#include <string>
#include <string_view>

namespace varnel::tool {

// A page of its own that shows these events, a JSON list of what `varnel show --json` prints. Nothing in them
// can become part of the page, and the page asks for nothing beyond itself.
[[nodiscard]] std::string PageOf(std::string_view jsonList);

}  // namespace varnel::tool
