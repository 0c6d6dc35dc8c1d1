#pragma once

namespace varnel::test {

// How many handles the process has open. Counted one by one: Wine answers the direct question with zero.
// Fails the test when there are so many that some may be missed.
int CountHandles();

}  // namespace varnel::test
