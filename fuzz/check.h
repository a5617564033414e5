// Ends a fuzz run with a crash report when a property of the code under test does not hold.
#pragma once

#include <cstdlib>

inline void check(bool condition) {
    if (!condition)
        abort();
}
