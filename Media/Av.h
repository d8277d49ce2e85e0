// Owning pointers to FFmpeg's objects, and what its results mean. For implementation files only: headers that others
// include do not expose FFmpeg.
#pragma once

#include <initializer_list>
#include <memory>
#include <new>
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

namespace Nimb::Media {

struct AvDeleter {
    void operator()(AVFormatContext* p) const noexcept { avformat_close_input(&p); }  ///< of a file that is read
    void operator()(AVCodecContext* p) const noexcept { avcodec_free_context(&p); }
    void operator()(AVCodecParameters* p) const noexcept { avcodec_parameters_free(&p); }
    void operator()(AVBSFContext* p) const noexcept { av_bsf_free(&p); }
    void operator()(AVFrame* p) const noexcept { av_frame_free(&p); }
    void operator()(AVPacket* p) const noexcept { av_packet_free(&p); }
    void operator()(SwsContext* p) const noexcept { sws_freeContext(p); }
    void operator()(SwrContext* p) const noexcept { swr_free(&p); }
    void operator()(std::uint8_t* p) const noexcept { av_free(p); }
};

template <class T>
using AvPtr = std::unique_ptr<T, AvDeleter>;

/// Takes what an allocating function returned, which is null only when memory ran out: then std::bad_alloc.
template <class T>
AvPtr<T> Owned(T* pObject) {
    if (pObject == nullptr) {
        throw std::bad_alloc();
    }
    return AvPtr<T>(pObject);
}

/// What a negative result means.
std::string AvText(int result);

/// Opens a local file for reading, even if its name looks like a network address, and follows no references to other
/// files. `format`: null to detect it from the content; `flags`: AVFMT_FLAG_...; `options`: of the format, by name. A
/// negative result is FFmpeg's, and `context` is null then. `interrupt` is polled while waiting for the file.
int OpenAvFile(const std::string& path, const AVInputFormat* format, int flags,
               std::initializer_list<std::pair<const char*, const char*>> options, AvPtr<AVFormatContext>& context,
               AVIOInterruptCB interrupt = {});

}  // namespace Nimb::Media
