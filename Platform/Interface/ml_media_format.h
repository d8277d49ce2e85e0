// Descriptions of tracks: keys and values.
#pragma once

#include "ml_types.h"

typedef const char* MLMediaFormatKey;

ML_EXTERN_C_BEGIN

ML_API extern MLMediaFormatKey MLMediaFormat_Key_Mime;      // string
ML_API extern MLMediaFormatKey MLMediaFormat_Key_Width;     // int32, pixels
ML_API extern MLMediaFormatKey MLMediaFormat_Key_Height;    // int32, pixels
ML_API extern MLMediaFormatKey MLMediaFormat_Key_Duration;  // int64, microseconds

// An absent key is a failure that leaves the out-parameter alone.

/// `out_string` holds at least 64 bytes; the value is cut to fit, always terminated.
ML_API MLResult MLMediaFormatGetKeyString(MLHandle format, MLMediaFormatKey key, char* out_string);
ML_API MLResult MLMediaFormatGetKeyValueInt32(MLHandle format, MLMediaFormatKey key, int32_t* out_value);
ML_API MLResult MLMediaFormatGetKeyValueInt64(MLHandle format, MLMediaFormatKey key, int64_t* out_value);
/// All keys as text. `out_string` holds at least 512 bytes.
ML_API MLResult MLMediaFormatObjectToString(MLHandle format, char* out_string);
ML_API MLResult MLMediaFormatDestroy(MLHandle format);

ML_EXTERN_C_END
