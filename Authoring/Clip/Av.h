// Owning pointers to FFmpeg's objects, and its results as texts and exceptions. For the implementation files alone.
#pragma once

#include "Authoring/Clip/ClipError.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

// The library's headers convert and shadow as C does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wpedantic"
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}
#pragma GCC diagnostic pop

namespace Nimb::Authoring {

struct AvDeleter {
    void operator()(AVCodecContext* p) const noexcept { avcodec_free_context(&p); }
    void operator()(AVFrame* p) const noexcept { av_frame_free(&p); }
    void operator()(AVPacket* p) const noexcept { av_packet_free(&p); }
    void operator()(AVBSFContext* p) const noexcept { av_bsf_free(&p); }
    void operator()(SwsContext* p) const noexcept { sws_freeContext(p); }
    void operator()(SwrContext* p) const noexcept { swr_free(&p); }
};

template <class T>
using AvPtr = std::unique_ptr<T, AvDeleter>;

/// Of a file that is read.
struct AvInputCloser {
    void operator()(AVFormatContext* p) const noexcept { avformat_close_input(&p); }
};
using AvInputPtr = std::unique_ptr<AVFormatContext, AvInputCloser>;

/// Opens a file: never what its name may be the address of, nor what it may refer to elsewhere. `format`: null to tell
/// it by the content; `flags`: AVFMT_FLAG_...; `options`: of the format, by name. A negative result is FFmpeg's, and
/// `context` is null then.
int OpenAvFile(const std::string& path, const AVInputFormat* format, int flags,
               std::initializer_list<std::pair<const char*, const char*>> options, AvInputPtr& context);

/// What a negative result means.
std::string AvText(int result);

/// For the log_level_offset of encoders: their reports of a normal run are details, their warnings stay.
constexpr int c_QuietLogOffset = AV_LOG_VERBOSE - AV_LOG_INFO;

/// Throws ClipError "what: reason" for a negative result.
inline int CheckAv(int result, const std::string& what) {
    if (result < 0) {
        throw ClipError(what + ": " + AvText(result));
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

}  // namespace Nimb::Authoring
