#include "Clip/Remux/ClipRemuxer.h"

#include "Clip/Remux/RemuxSound.h"
#include "Clip/Write/AudioEncoder.h"
#include "Clip/Write/CheckAv.h"
#include "Clip/Write/Mp4File.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Nimb::Authoring {
namespace {

constexpr AVRational c_SoundTimeBase = {1, c_ClipSampleRate};

void Describe(AVStream& stream, const AVCodecParameters& parameters) {
    CheckAv(avcodec_parameters_copy(stream.codecpar, &parameters), "description of a track");
}

class Remuxer {
public:
    Remuxer(const RemuxPlan& plan, const RemuxSoundPlan& sound, const RemuxOptions& options, const std::string& path)
        : m_Plan(plan), m_Sound(sound), m_File(path) {
        m_VideoStream = &m_File.AddStream(plan.timeBase);
        Describe(*m_VideoStream, *plan.excerpts.front().pInput->video);
        if (sound.kind != RemuxSoundKind::None) {
            m_AudioStream = &m_File.AddStream(c_SoundTimeBase);
        }
        if (sound.kind == RemuxSoundKind::Copied) {
            Describe(*m_AudioStream, *plan.excerpts.front().pInput->sound->parameters);
            m_AudioStream->codecpar->frame_size = c_PacketSamples;
        } else if (sound.kind == RemuxSoundKind::Encoded) {
            m_Source.emplace(plan, options.audio);
            m_Encoder.emplace(options.audioOptions);
            m_Encoder->Describe(*m_AudioStream->codecpar);
        }
        m_File.Begin();
    }

    void Write(const RemuxProgress& progress) {
        for (std::size_t i = 0; i < m_Plan.excerpts.size(); ++i) {
            WriteExcerpt(i, progress);
        }
        if (m_Encoder) {
            m_Encoder->Finish(SoundSink());
        }
        m_File.Finish(m_Plan.attributes);
    }

private:
    void WriteExcerpt(std::size_t number, const RemuxProgress& progress) {
        const RemuxExcerpt& excerpt = m_Plan.excerpts[number];
        const RemuxInput& input = *excerpt.pInput;
        ClipReader reader(input.path, ClipForm::Edited);
        ClipSample sample;
        std::size_t frame = 0;
        std::size_t packet = 0;
        const std::size_t end = m_Frames + excerpt.end - excerpt.first;
        while (reader.Read(sample)) {
            if (sample.bytes.empty()) {
                continue;
            }
            if (sample.track == input.videoTrack) {
                if (frame >= excerpt.first && frame < excerpt.end) {
                    WriteFrame(sample);
                    progress(RemuxStep::Write, m_Frames, m_Plan.report.frames);
                }
                ++frame;
            } else if (m_Sound.kind == RemuxSoundKind::Copied && sample.track == input.sound->track) {
                WriteSound(sample, DurationOf(sample, reader.Tracks()[sample.track], *input.sound),
                           m_Sound.packets[number], packet++);
            }
        }
        if (m_Frames != end) {
            throw InputError(input.path + ": has changed while it was read");
        }
    }

    void WriteFrame(const ClipSample& sample) {
        const Media::AvPtr<AVPacket> packet = PacketOf(sample);
        packet->pts = packet->dts = m_Plan.times[m_Frames];
        packet->duration = m_Plan.times[m_Frames + 1] - packet->pts;
        packet->flags = sample.isKeyPicture ? AV_PKT_FLAG_KEY : 0;
        ++m_Frames;
        m_File.Write(*packet, m_Plan.timeBase, *m_VideoStream);
        if (m_Encoder) {
            EncodeSound();
        }
    }

    /// Only the last packet of a track may be shorter. Where edit lists move a track's beginning, libavformat does not
    /// move its end, and so finds the last packet longer.
    static std::int64_t DurationOf(const ClipSample& sample, const ClipTrack& track, const RemuxSound& sound) {
        const double unit =
            static_cast<double>(track.timeBaseNumerator) / static_cast<double>(track.timeBaseDenominator);
        const double begin = std::min(0.0, sound.times.front());
        for (const double seconds :
             {static_cast<double>(sample.duration) * unit, static_cast<double>(sample.duration) * unit + begin}) {
            const std::int64_t duration = std::llround(seconds * c_ClipSampleRate);
            if (duration > 0 && duration <= c_PacketSamples) {
                return duration;
            }
        }
        return c_PacketSamples;
    }

    void WriteSound(const ClipSample& sample, std::int64_t duration,
                    const std::vector<std::optional<std::int64_t>>& places, std::size_t number) {
        if (number >= places.size() || !places[number]) {
            return;
        }
        const Media::AvPtr<AVPacket> packet = PacketOf(sample);
        packet->pts = packet->dts = (*places[number] - 1) * c_PacketSamples;
        packet->duration = duration;
        packet->flags = AV_PKT_FLAG_KEY;
        m_File.Write(*packet, c_SoundTimeBase, *m_AudioStream);
    }

    /// Up to the end of the frames so far.
    void EncodeSound() {
        const double seconds = static_cast<double>(m_Plan.times[m_Frames]) * av_q2d(m_Plan.timeBase);
        const auto end = static_cast<std::size_t>(std::llround(seconds * c_ClipSampleRate));
        std::vector<float> samples((end - m_SoundDone) * c_ClipChannels);
        m_Source->Read(samples.data(), end - m_SoundDone);
        m_Encoder->Encode(samples.data(), end - m_SoundDone, SoundSink());
        m_SoundDone = end;
    }

    AudioEncoder::Sink SoundSink() {
        return [this](AVPacket& packet) { m_File.Write(packet, c_SoundTimeBase, *m_AudioStream); };
    }

    static Media::AvPtr<AVPacket> PacketOf(const ClipSample& sample) {
        Media::AvPtr<AVPacket> packet = Media::Owned(av_packet_alloc());
        CheckAv(av_new_packet(packet.get(), static_cast<int>(sample.bytes.size())), "sample");
        std::memcpy(packet->data, sample.bytes.data(), sample.bytes.size());
        return packet;
    }

    const RemuxPlan& m_Plan;
    const RemuxSoundPlan& m_Sound;
    Mp4File m_File;
    AVStream* m_VideoStream = nullptr;
    AVStream* m_AudioStream = nullptr;
    std::optional<JoinedSound> m_Source;
    std::optional<AudioEncoder> m_Encoder;
    std::size_t m_SoundDone = 0;
    std::size_t m_Frames = 0;
};

std::vector<RemuxInput> LookThroughAll(const RemuxOptions& options, const RemuxProgress& progress,
                                       const RemuxWarning& warn) {
    std::vector<RemuxInput> inputs;
    std::size_t done = 0;
    for (const std::string& path : options.inputs) {
        inputs.push_back(LookThrough(
            path, [&](std::size_t frames) { progress(RemuxStep::Examine, done + frames, 0); },
            [&](const std::string& text) { warn(path + ": " + text); }));
        done += inputs.back().frames.size();
    }
    return inputs;
}

}  // namespace

RemuxReport RemuxClip(const RemuxOptions& options, const std::string& path, const RemuxProgress& progress,
                      const RemuxWarning& warn) {
    const std::vector<RemuxInput> inputs = LookThroughAll(options, progress, warn);
    RemuxPlan plan = PlanRemux(inputs, options, warn);
    const RemuxSoundPlan sound = PlanSound(plan, options, warn);
    plan.report.isSoundEncoded = sound.kind == RemuxSoundKind::Encoded;
    Named(path, -1, [&] { Remuxer(plan, sound, options, path).Write(progress); });
    return plan.report;
}

}  // namespace Nimb::Authoring
