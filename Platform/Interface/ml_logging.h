// The platform's log.
#pragma once

#include "ml_types.h"

typedef enum MLLogLevel {
    MLLogLevel_Fatal = 0,
    MLLogLevel_Error = 1,
    MLLogLevel_Warning = 2,
    MLLogLevel_Info = 3,
    MLLogLevel_Debug = 4,
    MLLogLevel_Verbose = 5
} MLLogLevel;

ML_EXTERN_C_BEGIN

/// Whether messages of this level go anywhere. Ask before formatting.
ML_API bool MLLoggingLogLevelIsEnabled(MLLogLevel level);

/// Writes one printf-style message. Thread-safe.
#if defined(__GNUC__)
__attribute__((format(printf, 3, 4)))
#endif
ML_API void
MLLoggingLogVargs(MLLogLevel level, const char* tag, const char* fmt, ...);

ML_EXTERN_C_END
