// The plug-in's log: the platform's, under one tag. Nothing is formatted while a level is off.
#pragma once

#include <ml_logging.h>

#define NIMB_LOG(level, ...)                                          \
    do {                                                              \
        if (MLLoggingLogLevelIsEnabled(level)) {                      \
            MLLoggingLogVargs(level, "NimbUnityPlugin", __VA_ARGS__); \
        }                                                             \
    } while (false)

#define NIMB_LOG_ERROR(...) NIMB_LOG(MLLogLevel_Error, __VA_ARGS__)
#define NIMB_LOG_WARNING(...) NIMB_LOG(MLLogLevel_Warning, __VA_ARGS__)
#define NIMB_LOG_INFO(...) NIMB_LOG(MLLogLevel_Info, __VA_ARGS__)
