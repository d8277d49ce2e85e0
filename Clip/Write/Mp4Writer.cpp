#include "Clip/Write/Mp4Writer.h"

#include "Authoring/Codec/MeshPayload.h"
#include "Clip/Write/AudioEncoder.h"
#include "Clip/Write/CheckAv.h"
#include "Clip/Write/Mp4File.h"
#include "Clip/Write/PictureConverter.h"
#include "Clip/Write/VideoEncoder.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Nimb::Authoring {

/// The file and the encoders of what goes into it.
class Mp4Writer::Container {
public:
    Container(const std::string& path, const VideoTrackOptions& video, const std::optional<AudioTrackOptions>& audio)
        : m_Video(video), m_Converter(video.width, video.height), m_File(path) {
        if (audio) {
            m_Audio.emplace(*audio);
        }
        m_VideoStream = &m_File.AddStream(m_Video.TimeBase());
        m_Video.Describe(*m_VideoStream->codecpar);
        m_VideoStream->avg_frame_rate = av_inv_q(m_Video.TimeBase());
        if (m_Audio) {
            m_AudioStream = &m_File.AddStream(c_SoundTimeBase);
            m_Audio->Describe(*m_AudioStream->codecpar);
        }
        m_File.Begin();
    }

    void AddFrame(const BYTE* rgba, std::size_t stride, Bytes meshUnit, KeyPicture key) {
        m_Video.Encode(*m_Converter.Convert(rgba, stride), std::move(meshUnit), key, VideoSink());
    }

    void AddSample(const Bytes& sample, bool isKeyPicture) {
        const Media::AvPtr<AVPacket> packet = Media::Owned(av_packet_alloc());
        CheckAv(av_new_packet(packet.get(), static_cast<int>(sample.size())), "sample");
        std::copy(sample.begin(), sample.end(), packet->data);
        packet->pts = packet->dts = m_SampleCount++;
        packet->duration = 1;
        packet->flags = isKeyPicture ? AV_PKT_FLAG_KEY : 0;
        VideoSink()(*packet);
    }

    void AddAudio(const float* samples, std::size_t frameCount) {
        if (!m_Audio) {
            throw std::invalid_argument("sound for a clip that was begun without a sound track");
        }
        m_Audio->Encode(samples, frameCount, AudioSink());
    }

    void Finish(const std::optional<FileAttributes>& attributes) {
        m_Video.Finish(VideoSink());
        if (m_Audio) {
            m_Audio->Finish(AudioSink());
        }
        m_File.Finish(attributes);
    }

    std::int64_t FrameCount() const { return m_Video.FrameCount() + m_SampleCount; }

private:
    static constexpr AVRational c_SoundTimeBase = {1, c_ClipSampleRate};

    VideoEncoder::Sink VideoSink() {
        return [this](AVPacket& packet) { m_File.Write(packet, m_Video.TimeBase(), *m_VideoStream); };
    }
    AudioEncoder::Sink AudioSink() {
        return [this](AVPacket& packet) { m_File.Write(packet, c_SoundTimeBase, *m_AudioStream); };
    }

    VideoEncoder m_Video;
    PictureConverter m_Converter;
    std::int64_t m_SampleCount = 0;  // of those that were encoded already
    std::optional<AudioEncoder> m_Audio;
    Mp4File m_File;
    AVStream* m_VideoStream = nullptr;
    AVStream* m_AudioStream = nullptr;
};

Mp4Writer::Mp4Writer(const std::string& path, const VideoTrackOptions& video,
                     const std::optional<AudioTrackOptions>& audio)
    : m_Path(path), m_Width(static_cast<std::size_t>(video.width)) {
    Named(m_Path, -1, [&] { m_Container = std::make_unique<Container>(m_Path, video, audio); });
}

Mp4Writer::~Mp4Writer() = default;

void Mp4Writer::AddFrame(const BYTE* rgba, std::size_t stride, const Bytes& mesh, KeyPicture key) {
    if (stride < m_Width * 4) {
        throw std::invalid_argument("the picture's rows overlap");
    }
    Named(m_Path, m_Container->FrameCount(), [&] {
        m_Container->AddFrame(
            rgba, stride, mesh.empty() ? Bytes() : WriteMeshNalUnit(mesh.data(), mesh.size(), NalFraming::Bare), key);
    });
}

void Mp4Writer::AddSample(const Bytes& sample, bool isKeyPicture) {
    Named(m_Path, m_Container->FrameCount(), [&] { m_Container->AddSample(sample, isKeyPicture); });
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
    Named(m_Path, -1, [&] { m_Container->Finish(attributes); });
    m_Container.reset();
}

}  // namespace Nimb::Authoring
