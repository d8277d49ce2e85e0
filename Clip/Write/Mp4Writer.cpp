#include "Clip/Write/Mp4Writer.h"

#include "Clip/Write/CheckAv.h"

#include "Authoring/Codec/MeshPayload.h"
#include "Clip/Write/AudioEncoder.h"
#include "Clip/Write/VideoEncoder.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace Nimb::Authoring {

/// The container and the encoders of what goes into it.
class Mp4Writer::Container {
public:
    Container(const std::string& path, const VideoTrackOptions& video, const std::optional<AudioTrackOptions>& audio)
        : m_Video(video) {
        if (audio) {
            m_Audio.emplace(*audio);
        }
        AVFormatContext* context = nullptr;
        CheckAv(avformat_alloc_output_context2(&context, nullptr, "mp4", path.c_str()), "MP4 writer");
        m_Context.reset(context);
        // Waits for the other track, however long it takes: samples are stored in the order of their times.
        m_Context->max_interleave_delta = 0;
        m_VideoStream = AddStream();
        m_Video.Describe(*m_VideoStream->codecpar);
        m_VideoStream->time_base = m_Video.TimeBase();
        m_VideoStream->avg_frame_rate = av_inv_q(m_Video.TimeBase());
        if (m_Audio) {
            m_AudioStream = AddStream();
            m_Audio->Describe(*m_AudioStream->codecpar);
            m_AudioStream->time_base = {1, c_ClipSampleRate};
        }
        CheckAv(avio_open(&m_Context->pb, path.c_str(), AVIO_FLAG_WRITE), "cannot be written");
        CheckAv(avformat_write_header(m_Context.get(), nullptr), "MP4 header");
    }

    void AddFrame(const BYTE* rgba, std::size_t stride, Bytes meshUnit) {
        m_Video.Encode(rgba, stride, std::move(meshUnit), VideoSink());
    }

    void AddAudio(const float* samples, std::size_t frameCount) {
        if (!m_Audio) {
            throw std::invalid_argument("sound for a clip that was begun without a sound track");
        }
        m_Audio->Encode(samples, frameCount, AudioSink());
    }

    void Finish() {
        m_Video.Finish(VideoSink());
        if (m_Audio) {
            m_Audio->Finish(AudioSink());
        }
        CheckAv(av_write_trailer(m_Context.get()), "MP4 index");
        CheckAv(avio_closep(&m_Context->pb), "end of file");
    }

    std::int64_t FrameCount() const { return m_Video.FrameCount(); }

private:
    struct Closer {
        void operator()(AVFormatContext* pContext) const noexcept {
            avio_closep(&pContext->pb);
            avformat_free_context(pContext);
        }
    };

    AVStream* AddStream() {
        AVStream* const stream = avformat_new_stream(m_Context.get(), nullptr);
        if (stream == nullptr) {
            throw std::bad_alloc();
        }
        return stream;
    }

    VideoEncoder::Sink VideoSink() {
        return [this](AVPacket& packet) { Write(packet, m_Video.TimeBase(), *m_VideoStream); };
    }
    AudioEncoder::Sink AudioSink() {
        return [this](AVPacket& packet) { Write(packet, {1, c_ClipSampleRate}, *m_AudioStream); };
    }

    void Write(AVPacket& packet, AVRational timeBase, const AVStream& stream) {
        av_packet_rescale_ts(&packet, timeBase, stream.time_base);
        packet.stream_index = stream.index;
        CheckAv(av_interleaved_write_frame(m_Context.get(), &packet), "sample");
        CheckAv(m_Context->pb->error, "sample");
    }

    VideoEncoder m_Video;
    std::optional<AudioEncoder> m_Audio;
    std::unique_ptr<AVFormatContext, Closer> m_Context;
    AVStream* m_VideoStream = nullptr;
    AVStream* m_AudioStream = nullptr;
};

namespace {

/// Runs a step of writing `path`, and adds the file's name to its errors, and the frame's number if there is one.
template <class Step>
void Named(const std::string& path, std::int64_t frame, Step&& step) {
    try {
        step();
    } catch (const ClipError& error) {
        throw ClipError(path + (frame < 0 ? "" : ", frame " + std::to_string(frame)) + ": " + error.what());
    }
}

/// Beside the file. Names have 255 bytes at most.
std::string TemporaryPathOf(const std::string& path) {
    const std::string tail = ".part" + std::to_string(getpid());
    const std::size_t name = path.rfind('/') + 1;  // 0 without a folder
    return path.substr(0, name) + path.substr(name, 255 - tail.size()) + tail;
}

void AppendToFile(const std::string& path, const Bytes& bytes) {
    std::FILE* const file = std::fopen(path.c_str(), "ab");
    const bool isWritten = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    const bool isClosed = file != nullptr && std::fclose(file) == 0;
    if (!isWritten || !isClosed) {
        throw ClipError(std::string("attribute atom: ") + std::strerror(errno));
    }
}

}  // namespace

Mp4Writer::Mp4Writer(const std::string& path, const VideoTrackOptions& video,
                     const std::optional<AudioTrackOptions>& audio)
    : m_Path(path), m_TemporaryPath(TemporaryPathOf(path)) {
    try {
        Named(m_Path, -1, [&] { m_Container = std::make_unique<Container>(m_TemporaryPath, video, audio); });
    } catch (...) {
        std::remove(m_TemporaryPath.c_str());
        throw;
    }
    m_Width = static_cast<std::size_t>(video.width);
}

Mp4Writer::~Mp4Writer() {
    if (m_Container != nullptr) {
        m_Container.reset();
        std::remove(m_TemporaryPath.c_str());
    }
}

void Mp4Writer::AddFrame(const BYTE* rgba, std::size_t stride, const Bytes& mesh) {
    if (stride < m_Width * 4) {
        throw std::invalid_argument("the picture's rows overlap");
    }
    Named(m_Path, m_Container->FrameCount(), [&] {
        m_Container->AddFrame(rgba, stride,
                              mesh.empty() ? Bytes() : WriteMeshNalUnit(mesh.data(), mesh.size(), NalFraming::Bare));
    });
}

void Mp4Writer::AddAudio(const float* samples, std::size_t frameCount) {
    Named(m_Path, -1, [&] { m_Container->AddAudio(samples, frameCount); });
}

void Mp4Writer::AddAudio(const std::int16_t* samples, std::size_t frameCount) {
    std::vector<float> converted(frameCount * c_ClipChannels);
    for (std::size_t i = 0; i < converted.size(); ++i) {
        converted[i] = static_cast<float>(samples[i]) / 32768.0f;
    }
    AddAudio(converted.data(), frameCount);
}

void Mp4Writer::Finish(const std::optional<FileAttributes>& attributes) {
    Named(m_Path, -1, [&] {
        m_Container->Finish();
        if (attributes) {
            AppendToFile(m_TemporaryPath, WriteAttributeAtom(*attributes));
        }
        if (std::rename(m_TemporaryPath.c_str(), m_Path.c_str()) != 0) {
            throw ClipError(std::string("cannot be replaced: ") + std::strerror(errno));
        }
    });
    m_Container.reset();
}

}  // namespace Nimb::Authoring
