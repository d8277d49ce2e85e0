// The settings that the platform reads once.
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    setenv("NIMB_LOG_LEVEL", "info", 1);
    setenv("SDL_AUDIODRIVER", "dummy", 0);  // no beeping test machines
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
