#define _CRT_RAND_S  // for rand_s

#include "bundle/stand_ins.h"
#include "console/console.h"

#include <stdlib.h>

#include <cstring>

namespace varnel::tool {

Key RandomKey() {
  Key key;
  for (std::size_t at = 0; at < key.size(); at += sizeof(unsigned)) {
    unsigned number = 0;
    if (rand_s(&number) != 0) throw Failure("Windows has no random numbers, which stand-ins need; try again");
    std::memcpy(key.data() + at, &number, sizeof(number));
  }
  return key;
}

}  // namespace varnel::tool
