// Sound output: streams that the program fills buffer by buffer.
#pragma once

#include "ml_types.h"

enum { MLAudioSampleFormat_Int = 0, MLAudioSampleFormat_Float = 1 };

typedef struct MLAudioBufferFormat {
    uint32_t channel_count;
    uint32_t samples_per_second;
    uint32_t bits_per_sample;
    uint32_t valid_bits_per_sample;
    uint32_t sample_format;
    uint32_t reserved;
} MLAudioBufferFormat;

typedef struct MLAudioBuffer {
    uint8_t* ptr;
    uint32_t size;
} MLAudioBuffer;

typedef void (*MLAudioBufferCallback)(MLHandle sound, void* context);

ML_EXTERN_C_BEGIN

/// `buffer_size` in bytes; without a callback the program asks for buffers itself.
ML_API MLResult MLAudioCreateSoundWithOutputStream(const MLAudioBufferFormat* format, uint32_t buffer_size,
                                                   MLAudioBufferCallback callback, void* context, MLHandle* out_sound);
ML_API MLResult MLAudioStartSound(MLHandle sound);
ML_API MLResult MLAudioStopSound(MLHandle sound);
ML_API MLResult MLAudioDestroySound(MLHandle sound);
/// 0 is silence, 1 leaves the sound as it is.
ML_API MLResult MLAudioSetSoundVolumeLinear(MLHandle sound, float volume);
/// 1 leaves the sound as it is, 2 is an octave up and twice as fast.
ML_API MLResult MLAudioSetSoundPitch(MLHandle sound, float pitch);
/// The buffer to fill next. Streams are double-buffered: refused while both buffers wait to be played, which is what
/// paces the caller.
ML_API MLResult MLAudioGetOutputStreamBuffer(MLHandle sound, MLAudioBuffer* out_buffer);
/// Hands the filled buffer over.
ML_API MLResult MLAudioReleaseOutputStreamBuffer(MLHandle sound);

ML_EXTERN_C_END
