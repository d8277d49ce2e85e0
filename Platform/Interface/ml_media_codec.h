// Decoders. Input and output buffers are named by indices; each side is used by one thread at a time.
#pragma once

#include "ml_types.h"

typedef enum MLMediaCodecCreation {
    MLMediaCodecCreation_ByName = 0,
    MLMediaCodecCreation_ByType = 1  // by MIME type
} MLMediaCodecCreation;

typedef enum MLMediaCodecType { MLMediaCodecType_Encoder = 0, MLMediaCodecType_Decoder = 1 } MLMediaCodecType;

typedef enum MLMediaCodecSurfaceHint {
    MLMediaCodecSurfaceHint_Hardware = 0,
    MLMediaCodecSurfaceHint_Software = 1
} MLMediaCodecSurfaceHint;

enum { MLMediaCodecBufferFlag_KeyFrame = 1, MLMediaCodecBufferFlag_CodecConfig = 2, MLMediaCodecBufferFlag_EOS = 4 };

// Statuses below 0 in the index of a dequeue mean that there is no buffer.
enum {
    MLMediaCodec_TryAgainLater = -11,
    MLMediaCodec_FormatChanged = -1012,
    MLMediaCodec_OutputBuffersChanged = -1014
};

typedef struct MLMediaCodecBufferInfo {
    size_t offset;
    size_t size;
    size_t flags;
    int64_t presentation_time_us;
} MLMediaCodecBufferInfo;

typedef struct MLMediaCodecCallbacks {
    void (*on_input_buffer_available)(MLHandle codec, int64_t buffer_index, void* user_data);
    void (*on_output_buffer_available)(MLHandle codec, int64_t buffer_index, MLMediaCodecBufferInfo* info,
                                       void* user_data);
    void (*on_output_format_changed)(MLHandle codec, MLHandle format, void* user_data);
    void (*on_error)(MLHandle codec, int error_code, void* user_data);
    void (*on_frame_rendered)(MLHandle codec, int64_t presentation_time_us, int64_t system_time_ns, void* user_data);
    void (*on_frame_available)(MLHandle codec, void* user_data);
} MLMediaCodecCallbacks;

ML_EXTERN_C_BEGIN

ML_API MLResult MLMediaCodecCreateCodec(MLMediaCodecCreation creation, MLMediaCodecType type, const char* name,
                                        MLHandle* out_codec);
ML_API MLResult MLMediaCodecSetCallbacks(MLHandle codec, MLMediaCodecCallbacks* callbacks, void* user_data);
ML_API MLResult MLMediaCodecSetSurfaceHint(MLHandle codec, MLMediaCodecSurfaceHint hint);
ML_API MLResult MLMediaCodecConfigure(MLHandle codec, MLHandle format, MLHandle crypto);
ML_API MLResult MLMediaCodecStart(MLHandle codec);
/// Stop and Flush make every buffer index handed out invalid and end every dequeue that waits, which then fails.
ML_API MLResult MLMediaCodecStop(MLHandle codec);
ML_API MLResult MLMediaCodecFlush(MLHandle codec);
ML_API MLResult MLMediaCodecDestroy(MLHandle codec);

/// `timeout_us` below 0: no limit.
ML_API MLResult MLMediaCodecDequeueInputBuffer(MLHandle codec, int64_t timeout_us, int64_t* out_index);
ML_API MLResult MLMediaCodecGetInputBufferPointer(MLHandle codec, int64_t index, uint8_t** out_buffer,
                                                  size_t* out_size);
ML_API MLResult MLMediaCodecQueueInputBuffer(MLHandle codec, int64_t index, int64_t offset, size_t size,
                                             uint64_t presentation_time_us, int flags);
ML_API MLResult MLMediaCodecDequeueOutputBuffer(MLHandle codec, MLMediaCodecBufferInfo* out_info, int64_t timeout_us,
                                                int64_t* out_index);
/// Audio: interleaved 16-bit PCM.
ML_API MLResult MLMediaCodecGetOutputBufferPointer(MLHandle codec, int64_t index, const uint8_t** out_buffer,
                                                   size_t* out_size);
/// `render`: the frame goes to the codec's surface, and on_frame_available follows on a thread of the codec's.
ML_API MLResult MLMediaCodecReleaseOutputBuffer(MLHandle codec, int64_t index, bool render);

/// The oldest rendered frame not yet acquired, as a native buffer for eglCreateImageKHR. Fails when there is none.
ML_API MLResult MLMediaCodecAcquireNextAvailableFrame(MLHandle codec, MLHandle* out_native_buffer);
ML_API MLResult MLMediaCodecReleaseFrame(MLHandle codec, MLHandle native_buffer);
/// The number of the frame last acquired, 1 for the first after Configure.
ML_API MLResult MLMediaCodecGetFrameNumber(MLHandle codec, uint64_t* out_frame_number);

ML_EXTERN_C_END
