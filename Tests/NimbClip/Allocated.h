// What the program has allocated with new.
#pragma once

#include <atomic>
#include <cstddef>

namespace NimbTest {

extern std::atomic<std::size_t> g_Allocated;
extern std::atomic<std::size_t> g_Peak;  ///< the most there has been since the test set it

}  // namespace NimbTest
