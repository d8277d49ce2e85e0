// Owning pointers to FFmpeg's objects, and its results as exceptions. For the implementation files alone.
#pragma once

#include "Authoring/Clip/ClipError.h"

#include <memory>
#include <string>

// The library's headers convert and shadow as C does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wpedantic"
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}
#pragma GCC diagnostic pop

namespace Authoring {

struct AvDeleter {
    void operator()(AVCodecContext* p) const noexcept { avcodec_free_context(&p); }
    void operator()(AVFrame* p) const noexcept { av_frame_free(&p); }
    void operator()(AVPacket* p) const noexcept { av_packet_free(&p); }
    void operator()(SwsContext* p) const noexcept { sws_freeContext(p); }
};

template <class T>
using AvPtr = std::unique_ptr<T, AvDeleter>;

/// For the log_level_offset of encoders: their reports of a normal run are details, their warnings stay.
constexpr int c_QuietLogOffset = AV_LOG_VERBOSE - AV_LOG_INFO;

/// Throws ClipError "what: reason" for a negative result.
inline int CheckAv(int result, const std::string& what) {
    if (result < 0) {
        char reason[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(result, reason, sizeof(reason));
        throw ClipError(what + ": " + reason);
    }
    return result;
}

template <class T>
AvPtr<T> CheckAllocated(T* pObject) {
    if (pObject == nullptr) {
        throw std::bad_alloc();
    }
    return AvPtr<T>(pObject);
}

}  // namespace Authoring
