#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

namespace varnel::tool {

// Gives each name once, in time that does not grow with how often a name was wanted before.
class UniqueNames {
 public:
  // Returns the name, with a number before its end if it is taken. `key` is the form in which names are
  // compared.
  template <class Key>
  std::string Take(std::string_view start, std::string_view end, Key key) {
    const std::string wanted = std::string(start).append(end);
    std::string name = wanted;
    while (!taken_.insert(key(name)).second)
      name = std::string(start) + "_" + std::to_string(++last_[key(wanted)] + 1) + std::string(end);
    return name;
  }

 private:
  std::set<std::string> taken_;
  std::map<std::string, int> last_;  // the last number given to a name
};

}  // namespace varnel::tool
