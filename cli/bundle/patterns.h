#pragma once

#include "bundle/stand_ins.h"
#include "bundle/text_units.h"

#include <functional>

namespace varnel::tool {

// A value that is recognised by its form.
struct Recognised {
  Form form;
  std::size_t first, end;  // units of the folded text
  std::string value;       // as StandIns takes it
};

// Calls found for IP addresses, hardware addresses, mail addresses, SIDs of accounts, machines of network
// paths like \\PC1\share, and of paths below users' folders: for the user (kUser), and for the rest (kPath),
// which ends at a character that no path may have, or at the line's end. Addresses that say nothing about a
// machine, such as 127.0.0.1, are left out. Takes time proportional to the text.
void FindPatterns(const Units& folded, const std::function<void(Recognised)>& found);

}  // namespace varnel::tool
