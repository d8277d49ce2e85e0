// The codec functions.
#include "Platform/Desktop/Log.h"
#include "Platform/Desktop/MediaCodec.h"
#include "Platform/Desktop/MimeTypes.h"
#include "Platform/Desktop/PublicCall.h"

#include <ml_media_codec.h>

using namespace Nimb::Desktop;

namespace {

// Null when there is no such decoder of pictures or sound.
const AVCodec* FindDecoder(MLMediaCodecCreation creation, const char* name) {
    const AVCodec* const codec = creation == MLMediaCodecCreation_ByName ? avcodec_find_decoder_by_name(name)
                                                                         : avcodec_find_decoder(CodecOfMimeType(name));
    const bool isPlayable =
        codec != nullptr && (codec->type == AVMEDIA_TYPE_VIDEO || codec->type == AVMEDIA_TYPE_AUDIO);
    return isPlayable ? codec : nullptr;
}

template <class Body>
MLResult CallOnBuffers(MLHandle handle, bool hasOutParameters, Body&& body) {
    return CallOn<MediaCodec>(handle, [&](MediaCodec& codec) -> MLResult {
        return hasOutParameters ? body(codec.Buffers()) : MLResult{MLResult_InvalidParam};
    });
}

}  // namespace

MLResult MLMediaCodecCreateCodec(MLMediaCodecCreation creation, MLMediaCodecType type, const char* name,
                                 MLHandle* out_codec) {
    return PublicCall([&]() -> MLResult {
        if (out_codec == nullptr || name == nullptr) {
            return MLResult_InvalidParam;
        }
        *out_codec = ML_INVALID_HANDLE;
        const AVCodec* const decoder = type == MLMediaCodecType_Decoder ? FindDecoder(creation, name) : nullptr;
        if (decoder == nullptr) {
            NIMB_PLATFORM_LOG(MLLogLevel_Warning, "there is no decoder for %s", name);
            return MLResult_UnspecifiedFailure;
        }
        auto codec = std::make_shared<MediaCodec>(*decoder);
        const MLHandle handle = HandleTable::Get().Add(codec);
        codec->SetHandle(handle);
        *out_codec = handle;
        return MLResult_Ok;
    });
}

MLResult MLMediaCodecSetCallbacks(MLHandle handle, MLMediaCodecCallbacks* callbacks, void* user_data) {
    return CallOn<MediaCodec>(handle, [&](MediaCodec& codec) -> MLResult {
        codec.SetCallbacks(callbacks, user_data);
        return MLResult_Ok;
    });
}

// Frames are in memory either way.
MLResult MLMediaCodecSetSurfaceHint(MLHandle handle, MLMediaCodecSurfaceHint hint) {
    return CallOn<MediaCodec>(handle, [&](MediaCodec&) -> MLResult {
        const bool isKnown = hint == MLMediaCodecSurfaceHint_Hardware || hint == MLMediaCodecSurfaceHint_Software;
        return isKnown ? MLResult_Ok : MLResult_InvalidParam;
    });
}

// There is no decryption: crypto objects are refused.
MLResult MLMediaCodecConfigure(MLHandle handle, MLHandle format_handle, MLHandle crypto) {
    return CallOn<MediaCodec>(handle, [&](MediaCodec& codec) -> MLResult {
        const auto format = HandleTable::Get().Find<MediaFormat>(format_handle);
        const bool isPlain = crypto == 0 || crypto == ML_INVALID_HANDLE;
        return format != nullptr && isPlain ? codec.Configure(*format) : MLResult{MLResult_InvalidParam};
    });
}

MLResult MLMediaCodecStart(MLHandle handle) {
    return CallOn<MediaCodec>(handle, [](MediaCodec& codec) { return codec.Start(); });
}

MLResult MLMediaCodecStop(MLHandle handle) {
    return CallOn<MediaCodec>(handle, [](MediaCodec& codec) { return codec.Stop(); });
}

MLResult MLMediaCodecFlush(MLHandle handle) {
    return CallOn<MediaCodec>(handle, [](MediaCodec& codec) { return codec.Flush(); });
}

MLResult MLMediaCodecDestroy(MLHandle handle) {
    return PublicCall([&]() -> MLResult {
        const auto codec = HandleTable::Get().Remove<MediaCodec>(handle);
        if (codec == nullptr) {
            return MLResult_InvalidParam;
        }
        codec->Destroy();
        return MLResult_Ok;
    });
}

MLResult MLMediaCodecDequeueInputBuffer(MLHandle handle, int64_t timeout_us, int64_t* out_index) {
    return CallOnBuffers(handle, out_index != nullptr,
                         [&](CodecBuffers& buffers) { return buffers.DequeueInput(timeout_us, out_index); });
}

MLResult MLMediaCodecGetInputBufferPointer(MLHandle handle, int64_t index, uint8_t** out_buffer, size_t* out_size) {
    return CallOnBuffers(handle, out_buffer != nullptr && out_size != nullptr,
                         [&](CodecBuffers& buffers) { return buffers.InputPointer(index, out_buffer, out_size); });
}

MLResult MLMediaCodecQueueInputBuffer(MLHandle handle, int64_t index, int64_t offset, size_t size,
                                      uint64_t presentation_time_us, int flags) {
    return CallOnBuffers(handle, true, [&](CodecBuffers& buffers) {
        return buffers.QueueInput(index, offset, size, static_cast<int64_t>(presentation_time_us), flags);
    });
}

MLResult MLMediaCodecDequeueOutputBuffer(MLHandle handle, MLMediaCodecBufferInfo* out_info, int64_t timeout_us,
                                         int64_t* out_index) {
    return CallOnBuffers(handle, out_info != nullptr && out_index != nullptr,
                         [&](CodecBuffers& buffers) { return buffers.DequeueOutput(timeout_us, out_info, out_index); });
}

MLResult MLMediaCodecGetOutputBufferPointer(MLHandle handle, int64_t index, const uint8_t** out_buffer,
                                            size_t* out_size) {
    return CallOnBuffers(handle, out_buffer != nullptr && out_size != nullptr,
                         [&](CodecBuffers& buffers) { return buffers.OutputPointer(index, out_buffer, out_size); });
}

MLResult MLMediaCodecReleaseOutputBuffer(MLHandle handle, int64_t index, bool render) {
    return CallOn<MediaCodec>(handle, [&](MediaCodec& codec) { return codec.ReleaseOutput(index, render); });
}

MLResult MLMediaCodecAcquireNextAvailableFrame(MLHandle handle, MLHandle* out_native_buffer) {
    return CallOn<MediaCodec>(handle, [&](MediaCodec& codec) -> MLResult {
        return out_native_buffer != nullptr ? codec.Surface().Acquire(out_native_buffer)
                                            : MLResult{MLResult_InvalidParam};
    });
}

MLResult MLMediaCodecReleaseFrame(MLHandle handle, MLHandle native_buffer) {
    return CallOn<MediaCodec>(handle, [&](MediaCodec& codec) { return codec.Surface().Release(native_buffer); });
}

MLResult MLMediaCodecGetFrameNumber(MLHandle handle, uint64_t* out_frame_number) {
    return CallOn<MediaCodec>(handle, [&](MediaCodec& codec) -> MLResult {
        if (out_frame_number == nullptr) {
            return MLResult_InvalidParam;
        }
        *out_frame_number = codec.Surface().LastNumber();
        return MLResult_Ok;
    });
}
