// Counts heap allocations made by this program's code (malloc family and operator new),
// so tests can prove that a path allocates nothing.
#pragma once

#include <cstddef>

namespace testsupport {

// Total allocations since the program started; take the difference around the code under test.
std::size_t allocationCount();

} // namespace testsupport
