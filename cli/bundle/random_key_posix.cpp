#include "bundle/stand_ins.h"
#include "console/console.h"

#include <sys/random.h>

namespace varnel::tool {

Key RandomKey() {
  Key key;
  if (getrandom(key.data(), key.size(), 0) != static_cast<ssize_t>(key.size()))
    throw Failure("the system has no random numbers, which stand-ins need; try again");
  return key;
}

}  // namespace varnel::tool
