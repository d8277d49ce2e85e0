// What stops a fuzz target.
#pragma once

#include <cstdlib>

inline void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}
