// The extractor over libavformat's MP4 reader.
#include "Platform/Desktop/MediaExtractor.h"

#include "Media/FileBoxes.h"
#include "Nimb/FileUri.h"
#include "Platform/Desktop/AvLog.h"
#include "Platform/Desktop/Log.h"
#include "Platform/Desktop/MimeTypes.h"

#include <ml_media_format.h>

#include <algorithm>
#include <cstring>

namespace Nimb::Desktop {
namespace {

constexpr AVRational c_Microseconds = {1, 1000000};
constexpr int64_t c_NoSample = -1;

// The smallest input size to announce. In fragmented files, the sample sizes are not known beforehand.
constexpr size_t c_MinVideoSampleSize = size_t{256} << 10;
constexpr size_t c_MinAudioSampleSize = size_t{64} << 10;
// Samples larger than this are damage, not frames.
constexpr size_t c_MaxSampleSize = size_t{256} << 20;

// How much a sample can grow when it becomes a byte stream: parameter sets are put in front, and start codes replace
// lengths, which may be shorter.
size_t ByteStreamSize(size_t sampleSize, const AVCodecParameters& parameters) {
    return sampleSize * 4 + static_cast<size_t>(std::max(parameters.extradata_size, 0)) + AV_INPUT_BUFFER_PADDING_SIZE;
}

void AddSize(MediaFormat& format, const AVCodecParameters& parameters) {
    if (parameters.width > 0 && parameters.height > 0) {
        format.Add(MLMediaFormat_Key_Width, int32_t{parameters.width});
        format.Add(MLMediaFormat_Key_Height, int32_t{parameters.height});
    }
}

void AddDuration(MediaFormat& format, const AVStream& stream, int64_t containerDuration) {
    int64_t duration = AV_NOPTS_VALUE;
    if (stream.duration != AV_NOPTS_VALUE) {
        duration = av_rescale_q(stream.duration, stream.time_base, c_Microseconds);
    } else if (containerDuration != AV_NOPTS_VALUE) {
        duration = containerDuration;  // AV_TIME_BASE is microseconds
    }
    if (duration >= 0) {
        format.Add(MLMediaFormat_Key_Duration, duration);
    }
}

// The timestamp of the entry to seek to, in the stream's time base; false when there is none of that kind.
bool FindSeekTarget(AVStream* stream, int64_t time, MLMediaSeekMode mode, int64_t* target) {
    const int any = mode == MLMediaSeekMode_Closest ? AVSEEK_FLAG_ANY : 0;
    const int before = av_index_search_timestamp(stream, time, any | AVSEEK_FLAG_BACKWARD);
    const int after = av_index_search_timestamp(stream, time, any);
    const AVIndexEntry* const previous = before >= 0 ? avformat_index_get_entry(stream, before) : nullptr;
    const AVIndexEntry* const next = after >= 0 ? avformat_index_get_entry(stream, after) : nullptr;

    const AVIndexEntry* chosen = nullptr;
    if (mode == MLMediaSeekMode_Next_Sync) {
        chosen = next;
    } else if (previous == nullptr || next == nullptr || mode == MLMediaSeekMode_Previous_Sync) {
        chosen = previous != nullptr ? previous : next;
    } else {
        chosen = time - previous->timestamp <= next->timestamp - time ? previous : next;
    }
    if (chosen == nullptr) {
        return false;
    }
    *target = chosen->timestamp;
    return true;
}

}  // namespace

int MediaExtractor::IsAborted(void* self) {
    return static_cast<MediaExtractor*>(self)->m_Aborted ? 1 : 0;
}

Media::AvPtr<AVFormatContext> MediaExtractor::OpenContext(const std::string& path) {
    Media::AvPtr<AVFormatContext> context;
    // Samples are wanted as the file has them: not parsed, not repaired.
    const int result = Media::OpenAvFile(path, av_find_input_format("mp4"),
                                         AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN | AVFMT_FLAG_DISCARD_CORRUPT,
                                         {{"ignore_editlist", "1"}}, context, {IsAborted, this});
    if (result < 0) {
        NIMB_PLATFORM_LOG(MLLogLevel_Warning, "cannot open %s: %s", path.c_str(), Media::AvText(result).c_str());
    }
    return context;
}

MediaExtractor::Track MediaExtractor::OpenTrack(AVStream* stream) {
    Track track;
    track.stream = stream;
    stream->discard = AVDISCARD_ALL;
    const char* const filterName = ByteStreamFilterOf(stream->codecpar->codec_id);
    if (filterName == nullptr) {
        return track;
    }
    AVBSFContext* filter = nullptr;
    int result = av_bsf_alloc(av_bsf_get_by_name(filterName), &filter);
    track.filter.reset(filter);
    if (result >= 0) {
        result = avcodec_parameters_copy(filter->par_in, stream->codecpar);
    }
    if (result >= 0) {
        filter->time_base_in = stream->time_base;
        result = av_bsf_init(filter);
    }
    if (result < 0) {
        NIMB_PLATFORM_LOG(MLLogLevel_Error, "track %d is damaged: %s", stream->index, Media::AvText(result).c_str());
        track.usable = false;
        track.filter.reset();
    }
    return track;
}

MLResult MediaExtractor::SetDataSource(const std::string& uri) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    RouteAvLog();
    const std::string path = Nimb::PathOfUri(uri);
    if (path.empty()) {
        NIMB_PLATFORM_LOG(MLLogLevel_Warning, "not a path or a file URI: %s", uri.c_str());
        return MLResult_UnspecifiedFailure;
    }
    if (!Media::IsIndexWhole(path)) {
        NIMB_PLATFORM_LOG(MLLogLevel_Warning, "cannot open %s: it ends inside its index", path.c_str());
        return MLResult_UnspecifiedFailure;
    }
    Media::AvPtr<AVFormatContext> context = OpenContext(path);
    if (context == nullptr) {
        return MLResult_UnspecifiedFailure;
    }
    std::vector<Track> tracks;
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        AVStream* const stream = context->streams[i];
        // A cover picture is not a track of the file.
        if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0) {
            tracks.push_back(OpenTrack(stream));
        }
    }
    m_Packet = Media::Owned(av_packet_alloc());
    m_Tracks = std::move(tracks);
    m_Context = std::move(context);
    m_Position = Position::Unread;
    return MLResult_Ok;
}

size_t MediaExtractor::TrackCount() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_Tracks.size();
}

size_t MediaExtractor::MaxSampleSize(const Track& track) const {
    const AVCodecParameters& parameters = *track.stream->codecpar;
    const bool isVideo = parameters.codec_type == AVMEDIA_TYPE_VIDEO;
    size_t largest = isVideo ? c_MinVideoSampleSize : c_MinAudioSampleSize;
    if (isVideo && parameters.width > 0 && parameters.height > 0) {
        const uint64_t picture = uint64_t(parameters.width) * uint64_t(parameters.height) / 2;
        largest = std::max(largest, static_cast<size_t>(std::min<uint64_t>(picture, c_MaxSampleSize)));
    }
    const int64_t fileSize = std::max<int64_t>(avio_size(m_Context->pb), 0);
    const int count = avformat_index_get_entries_count(track.stream);
    for (int i = 0; i < count; ++i) {
        const AVIndexEntry* const entry = avformat_index_get_entry(track.stream, i);
        // No memory for sizes larger than the file.
        if (entry->size > 0 && entry->size <= fileSize) {
            largest = std::max(largest, static_cast<size_t>(entry->size));
        }
    }
    return std::min(track.filter != nullptr ? ByteStreamSize(largest, parameters) : largest, c_MaxSampleSize);
}

std::shared_ptr<MediaFormat> MediaExtractor::TrackFormat(size_t index) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (index >= m_Tracks.size()) {
        return nullptr;
    }
    const Track& track = m_Tracks[index];
    auto format = std::make_shared<MediaFormat>();
    // The filter's parameter sets are in the form in which its samples are.
    format->parameters = Media::Owned(avcodec_parameters_alloc());
    const AVCodecParameters* const parameters =
        track.filter != nullptr ? track.filter->par_out : track.stream->codecpar;
    if (avcodec_parameters_copy(format->parameters.get(), parameters) < 0) {
        throw std::bad_alloc();
    }
    format->maxSampleSize = MaxSampleSize(track);

    format->Add(MLMediaFormat_Key_Mime, MimeTypeOf(*parameters));
    if (parameters->codec_type == AVMEDIA_TYPE_VIDEO) {
        AddSize(*format, *parameters);
    } else if (parameters->codec_type == AVMEDIA_TYPE_AUDIO) {
        format->Add("sample-rate", int32_t{parameters->sample_rate});
        format->Add("channel-count", int32_t{parameters->ch_layout.nb_channels});
    }
    AddDuration(*format, *track.stream, m_Context->duration);
    return format;
}

MLResult MediaExtractor::SelectTrack(size_t index) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (index >= m_Tracks.size()) {
        return MLResult_InvalidParam;
    }
    Track& track = m_Tracks[index];
    if (!track.usable) {
        return MLResult_UnspecifiedFailure;
    }
    track.selected = true;
    track.stream->discard = AVDISCARD_DEFAULT;
    return MLResult_Ok;
}

const MediaExtractor::Track* MediaExtractor::SeekReference() const {
    const Track* reference = nullptr;
    for (const Track& track : m_Tracks) {
        const bool isVideo = track.stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        if (track.selected && (reference == nullptr || isVideo)) {
            reference = &track;
            if (isVideo) {
                break;
            }
        }
    }
    return reference;
}

MLResult MediaExtractor::SeekTo(int64_t timeUs, MLMediaSeekMode mode) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (mode < MLMediaSeekMode_Previous_Sync || mode > MLMediaSeekMode_Closest) {
        return MLResult_InvalidParam;
    }
    const Track* const reference = SeekReference();
    if (reference == nullptr) {
        return MLResult_UnspecifiedFailure;
    }
    const int64_t wanted = av_rescale_q(std::max<int64_t>(timeUs, 0), c_Microseconds, reference->stream->time_base);
    int64_t target = 0;
    if (!FindSeekTarget(reference->stream, wanted, mode, &target)) {
        return MLResult_UnspecifiedFailure;
    }
    const int flags = AVSEEK_FLAG_BACKWARD | (mode == MLMediaSeekMode_Closest ? AVSEEK_FLAG_ANY : 0);
    const int result = av_seek_frame(m_Context.get(), reference->stream->index, target, flags);
    if (result < 0) {
        NIMB_PLATFORM_LOG(MLLogLevel_Warning, "cannot seek: %s", Media::AvText(result).c_str());
        return MLResult_UnspecifiedFailure;
    }
    for (Track& track : m_Tracks) {
        if (track.filter != nullptr) {
            av_bsf_flush(track.filter.get());
        }
    }
    m_Position = Position::Unread;
    return MLResult_Ok;
}

MediaExtractor::Track* MediaExtractor::TrackOfPacket() {
    for (Track& track : m_Tracks) {
        if (track.stream->index == m_Packet->stream_index) {
            return &track;
        }
    }
    return nullptr;
}

// Reads on to the next sample that can be handed out. A sample that its track's filter cannot take is passed over.
bool MediaExtractor::ReadNext() {
    for (;;) {
        av_packet_unref(m_Packet.get());
        int result = av_read_frame(m_Context.get(), m_Packet.get());
        if (result < 0) {
            if (result != AVERROR_EOF) {
                NIMB_PLATFORM_LOG(MLLogLevel_Warning, "the input ends early: %s", Media::AvText(result).c_str());
            }
            return false;
        }
        const Track* const track = TrackOfPacket();
        if (track == nullptr || !track->selected) {
            continue;
        }
        // A filter would take an empty packet for the end of the stream.
        if (track->filter == nullptr || m_Packet->size == 0) {
            return true;
        }
        result = av_bsf_send_packet(track->filter.get(), m_Packet.get());
        if (result >= 0) {
            result = av_bsf_receive_packet(track->filter.get(), m_Packet.get());
        }
        if (result >= 0) {
            return true;
        }
        NIMB_PLATFORM_LOG(MLLogLevel_Warning, "a damaged sample is left out: %s", Media::AvText(result).c_str());
    }
}

// Whether there is a current sample; reads it if that was not done yet.
bool MediaExtractor::ReachSample() {
    if (m_Position == Position::Unread && m_Context != nullptr) {
        m_Position = ReadNext() ? Position::AtSample : Position::AtEnd;
    }
    return m_Position == Position::AtSample;
}

MLResult MediaExtractor::Advance() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (!ReachSample()) {
        return MLResult_UnspecifiedFailure;
    }
    m_Position = Position::Unread;
    return ReachSample() ? MLResult_Ok : MLResult_UnspecifiedFailure;
}

int64_t MediaExtractor::SampleTrack() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return ReachSample() ? TrackOfPacket() - m_Tracks.data() : c_NoSample;
}

int64_t MediaExtractor::SampleTimeUs() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (!ReachSample()) {
        return c_NoSample;
    }
    const int64_t time = m_Packet->pts != AV_NOPTS_VALUE ? m_Packet->pts : m_Packet->dts;
    if (time == AV_NOPTS_VALUE) {
        return 0;
    }
    // Times below 0 would mean "no sample", so a sample before the start is given time 0.
    return std::max<int64_t>(av_rescale_q(time, TrackOfPacket()->stream->time_base, c_Microseconds), 0);
}

MLResult MediaExtractor::ReadSample(uint8_t* buffer, size_t bufferSize, size_t offset, int64_t* outSize) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (!ReachSample()) {
        *outSize = c_NoSample;
        return MLResult_Ok;
    }
    *outSize = 0;
    const auto size = static_cast<size_t>(m_Packet->size);
    if (offset > bufferSize || size > bufferSize - offset) {
        NIMB_PLATFORM_LOG(MLLogLevel_Warning, "a sample of %zu bytes does not fit its buffer", size);
        return MLResult_UnspecifiedFailure;
    }
    if (size > 0) {
        std::memcpy(buffer + offset, m_Packet->data, size);
    }
    *outSize = m_Packet->size;
    return MLResult_Ok;
}

}  // namespace Nimb::Desktop
