// The platform's own messages, under its own tag.
#pragma once

#include <ml_logging.h>

#define NIMB_PLATFORM_LOG(level, ...)                              \
    do {                                                           \
        if (MLLoggingLogLevelIsEnabled(level)) {                   \
            MLLoggingLogVargs(level, "NimbPlatform", __VA_ARGS__); \
        }                                                          \
    } while (false)
