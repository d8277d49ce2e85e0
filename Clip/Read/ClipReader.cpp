#include "Clip/Read/ClipReader.h"

#include "Media/Av.h"

#include <algorithm>
#include <array>
#include <fstream>

namespace Nimb::Authoring {
namespace {

constexpr AVRational c_Microseconds = {1, 1000000};
constexpr BYTE c_AvcConfigurationVersion = 1;

Media::FileBoxes ReadBoxes(const std::string& path) {
    std::string problem;
    std::optional<Media::FileBoxes> boxes = Media::ReadFileBoxes(path, &problem);
    if (!boxes) {
        throw InputError(problem);
    }
    return std::move(*boxes);
}

constexpr const char* c_Mp4 = "mp4";
constexpr const char* c_Matroska = "matroska";

bool IsMatroska(const std::string& path) {
    const std::array<char, 4> magic = {'\x1A', '\x45', '\xDF', '\xA3'};
    std::array<char, 4> head{};
    return std::ifstream(path, std::ios::binary).read(head.data(), head.size()) && head == magic;
}

/// Samples as the file has them: not parsed, not repaired, and none left out because of an edit list.
Media::AvPtr<AVFormatContext> OpenContext(const std::string& path, const char* format, ClipForm form) {
    Media::AvPtr<AVFormatContext> context;
    const bool isPlayed = form == ClipForm::Played;
    const int result =
        Media::OpenAvFile(path, av_find_input_format(format), AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN,
                          {{isPlayed ? "ignore_editlist" : "advanced_editlist", isPlayed ? "1" : "0"}}, context);
    if (result < 0) {
        throw InputError(path + ": cannot be read as " + (format == c_Mp4 ? "an MP4" : "a Matroska") +
                         " file: " + Media::AvText(result));
    }
    return context;
}

Media::AvPtr<AVBSFContext> OpenFilter(const AVStream& stream) {
    AVBSFContext* filter = nullptr;
    int result = av_bsf_alloc(av_bsf_get_by_name("h264_mp4toannexb"), &filter);
    Media::AvPtr<AVBSFContext> owned(filter);
    if (result >= 0) {
        result = avcodec_parameters_copy(filter->par_in, stream.codecpar);
    }
    if (result >= 0) {
        filter->time_base_in = stream.time_base;
        result = av_bsf_init(filter);
    }
    return result >= 0 ? std::move(owned) : nullptr;
}

/// Bytes of the length before each unit; 0 when the track's configuration does not say.
std::size_t LengthBytes(const AVCodecParameters& parameters) {
    const bool isKnown = parameters.extradata_size >= 5 && parameters.extradata[0] == c_AvcConfigurationVersion;
    return isKnown ? std::size_t{parameters.extradata[4]} % 4 + 1 : 0;
}

ClipTrack DescribeTrack(const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    ClipTrack track;
    track.kind = parameters.codec_type == AVMEDIA_TYPE_VIDEO   ? ClipTrack::Kind::Video
                 : parameters.codec_type == AVMEDIA_TYPE_AUDIO ? ClipTrack::Kind::Audio
                                                               : ClipTrack::Kind::Other;
    track.codec = avcodec_get_name(parameters.codec_id);
    track.width = parameters.width;
    track.height = parameters.height;
    track.sampleRate = parameters.sample_rate;
    track.channels = parameters.ch_layout.nb_channels;
    track.timeBaseNumerator = stream.time_base.num;
    track.timeBaseDenominator = std::max(stream.time_base.den, 1);
    track.seconds = stream.duration > 0 ? static_cast<double>(stream.duration) * av_q2d(stream.time_base) : 0;
    track.sampleCount = static_cast<std::size_t>(std::max(avformat_index_get_entries_count(&stream), 0));
    return track;
}

}  // namespace

class ClipReader::Container {
public:
    struct Track {
        AVStream* stream = nullptr;
        Media::AvPtr<AVBSFContext> filter;
        std::size_t lengthBytes = 0;
        std::size_t samplesRead = 0;
    };

    Container(const std::string& path, const char* format, ClipForm form)
        : m_Context(OpenContext(path, format, form)), m_Packet(Media::Owned(av_packet_alloc())) {
        for (unsigned i = 0; i < m_Context->nb_streams; ++i) {
            AVStream* const stream = m_Context->streams[i];
            // A cover picture is not a track of the file.
            if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
                stream->discard = AVDISCARD_ALL;
                continue;
            }
            Track track;
            track.stream = stream;
            if (stream->codecpar->codec_id == AV_CODEC_ID_H264) {
                track.filter = OpenFilter(*stream);
                track.lengthBytes = LengthBytes(*stream->codecpar);
            }
            m_Tracks.push_back(std::move(track));
        }
    }

    const std::vector<Track>& Tracks() const { return m_Tracks; }

    /// 0, or why there are no more samples.
    int Read(ClipSample& sample) {
        for (;;) {
            av_packet_unref(m_Packet.get());
            const int result = av_read_frame(m_Context.get(), m_Packet.get());
            if (result < 0) {
                return result;
            }
            const auto it = std::find_if(m_Tracks.begin(), m_Tracks.end(), [this](const Track& track) {
                return track.stream->index == m_Packet->stream_index;
            });
            if (it != m_Tracks.end()) {
                Describe(*it, sample);
                sample.track = static_cast<std::size_t>(it - m_Tracks.begin());
                sample.number = it->samplesRead++;
                Convert(*it, sample);
                return 0;
            }
        }
    }

private:
    void Describe(const Track& track, ClipSample& sample) const {
        const auto known = [](std::int64_t time) {
            return time != AV_NOPTS_VALUE ? std::optional(time) : std::nullopt;
        };
        sample.presentationTime = known(m_Packet->pts);
        sample.decodeTime = known(m_Packet->dts);
        sample.duration = m_Packet->duration;
        const std::int64_t time = sample.presentationTime.value_or(sample.decodeTime.value_or(0));
        sample.microseconds = std::max<std::int64_t>(av_rescale_q(time, track.stream->time_base, c_Microseconds), 0);
        sample.offset = m_Packet->pos >= 0 ? static_cast<UINT64>(m_Packet->pos) : 0;
        sample.isKeyPicture = (m_Packet->flags & AV_PKT_FLAG_KEY) != 0;
        sample.isCut = (m_Packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
        sample.bytes.assign(m_Packet->data, m_Packet->data + m_Packet->size);
        sample.lengthBytes = track.lengthBytes;
        sample.damage.clear();
    }

    /// Takes the packet.
    void Convert(Track& track, ClipSample& sample) {
        sample.byteStream = sample.bytes;
        if (track.stream->codecpar->codec_id != AV_CODEC_ID_H264) {
            return;
        }
        sample.byteStream.clear();
        int result = track.filter == nullptr || sample.bytes.empty() ? AVERROR_INVALIDDATA : 0;
        if (result >= 0) {
            result = av_bsf_send_packet(track.filter.get(), m_Packet.get());
        }
        if (result >= 0) {
            result = av_bsf_receive_packet(track.filter.get(), m_Packet.get());
        }
        if (result >= 0) {
            sample.byteStream.assign(m_Packet->data, m_Packet->data + m_Packet->size);
        } else {
            sample.damage = track.filter == nullptr ? "the track's description is damaged"
                            : sample.bytes.empty()  ? "it is empty"
                                                    : "its NAL units do not fit into it";
        }
    }

    Media::AvPtr<AVFormatContext> m_Context;
    Media::AvPtr<AVPacket> m_Packet;
    std::vector<Track> m_Tracks;
};

ClipReader::ClipReader(const std::string& path, ClipForm form) : m_Path(path), m_Boxes(ReadBoxes(path)) {
    const char* const format = form == ClipForm::Edited && IsMatroska(path) ? c_Matroska : c_Mp4;
    const Media::FileBox* const index = m_Boxes.Find("moov");
    if (index == nullptr && format == c_Mp4) {
        throw InputError(path + ": not an MP4 file, or cut off before its index: it has no 'moov' box");
    }
    // libavformat would take what is left for the whole index, and drop tracks or give samples wrong times.
    if (index != nullptr && format == c_Mp4 && m_Boxes.IsCut(*index)) {
        throw InputError(path + ": ends inside its index, the box 'moov' at byte " + std::to_string(index->offset));
    }
    m_Container = std::make_unique<Container>(path, format, form);
    for (const Container::Track& track : m_Container->Tracks()) {
        m_Tracks.push_back(DescribeTrack(*track.stream));
    }
}

ClipReader::~ClipReader() = default;

std::optional<std::size_t> ClipReader::VideoTrack() const {
    const auto it = std::find_if(m_Tracks.begin(), m_Tracks.end(),
                                 [](const ClipTrack& track) { return track.kind == ClipTrack::Kind::Video; });
    return it != m_Tracks.end() ? std::optional(static_cast<std::size_t>(it - m_Tracks.begin())) : std::nullopt;
}

bool ClipReader::Read(ClipSample& sample) {
    do {
        const int result = m_Container->Read(sample);
        if (result < 0) {
            m_EndReason = result == AVERROR_EOF ? "" : Media::AvText(result);
            return false;
        }
    } while (m_Tracks[sample.track].kind == ClipTrack::Kind::Other);
    return true;
}

const AVCodecParameters& ClipReader::Parameters(std::size_t track) const {
    const Container::Track& from = m_Container->Tracks().at(track);
    // The filter's parameter sets are in the form in which its samples are.
    return from.filter != nullptr ? *from.filter->par_out : *from.stream->codecpar;
}

const AVCodecParameters& ClipReader::StoredParameters(std::size_t track) const {
    return *m_Container->Tracks().at(track).stream->codecpar;
}

void SilenceAvLog() {
    av_log_set_level(AV_LOG_QUIET);
}

}  // namespace Nimb::Authoring
