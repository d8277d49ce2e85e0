// Owning pointers to the media libraries' objects, and what they say.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <new>
#include <string>

namespace Nimb::Desktop {

struct AvDeleter {
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
    void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
    void operator()(AVBSFContext* p) const { av_bsf_free(&p); }
    void operator()(AVPacket* p) const { av_packet_free(&p); }
    void operator()(AVFrame* p) const { av_frame_free(&p); }
    void operator()(SwsContext* p) const { sws_freeContext(p); }
    void operator()(SwrContext* p) const { swr_free(&p); }
    void operator()(uint8_t* p) const { av_free(p); }
};

template <class T>
using AvPtr = std::unique_ptr<T, AvDeleter>;

/// Takes what an allocating function returned, which is null only when memory ran out.
template <class T>
AvPtr<T> Owned(T* p) {
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return AvPtr<T>(p);
}

std::string AvErrorText(int error);

/// From the first call on, the media libraries' messages go into the platform's log.
void RouteAvLog();

}  // namespace Nimb::Desktop
