// In a file of its own, so that no compiler sees new and delete meet malloc and free in one function. Sanitizers have
// their own new and delete; under them nothing is counted.
#include "Tests/NimbClip/Allocated.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

std::atomic<std::size_t> NimbTest::g_Allocated{0};
std::atomic<std::size_t> NimbTest::g_Peak{0};

#ifndef NIMB_SANITIZED
void* operator new(std::size_t size) {
    void* const p = std::malloc(std::max<std::size_t>(size, 1));
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    const std::size_t allocated = NimbTest::g_Allocated += malloc_usable_size(p);
    NimbTest::g_Peak = std::max<std::size_t>(NimbTest::g_Peak, allocated);
    return p;
}

void operator delete(void* p) noexcept {
    NimbTest::g_Allocated -= malloc_usable_size(p);
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept {
    operator delete(p);
}
#endif
