// Types that all interfaces of the headset's platform share. Our own declarations of the part of it that the player
// uses; Platform/Desktop implements the same functions for Linux.
//
// Common rules: C linkage, no exceptions across it, 0 is success. A call with an invalid or destroyed handle returns
// MLResult_InvalidParam at once; it neither blocks nor crashes.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

typedef uint64_t MLHandle;
#define ML_INVALID_HANDLE ((MLHandle)0xFFFFFFFFFFFFFFFFull)

typedef int32_t MLResult;
enum {
    MLResult_Ok = 0,
    MLResult_Pending = 1,
    MLResult_Timeout = 2,
    MLResult_Locked = 3,
    MLResult_UnspecifiedFailure = 4,
    MLResult_InvalidParam = 5,
    MLResult_AllocFailed = 6
};

#if defined(__GNUC__)
#define ML_API __attribute__((visibility("default")))
#else
#define ML_API
#endif

#ifdef __cplusplus
#define ML_EXTERN_C_BEGIN extern "C" {
#define ML_EXTERN_C_END }
#else
#define ML_EXTERN_C_BEGIN
#define ML_EXTERN_C_END
#endif
