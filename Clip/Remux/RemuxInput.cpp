#include "Clip/Remux/RemuxInput.h"

#include "Clip/Read/ClipMeshes.h"
#include "Clip/Write/AudioEncoder.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {
namespace {

constexpr int c_DefaultRate = 30;  // of a single frame in a file that does not say

Media::AvPtr<AVCodecParameters> Copy(const AVCodecParameters& parameters) {
    Media::AvPtr<AVCodecParameters> copy = Media::Owned(avcodec_parameters_alloc());
    if (avcodec_parameters_copy(copy.get(), &parameters) < 0) {
        throw std::bad_alloc();
    }
    copy->codec_tag = 0;  // the tag of another container
    return copy;
}

/// From a decoder configuration record; none when it is not one.
std::optional<ParameterSets> ReadParameterSets(const AVCodecParameters& parameters) {
    constexpr std::size_t headBytes = 5;
    const BYTE* at = parameters.extradata;
    const BYTE* const end = at + std::max(parameters.extradata_size, 0);
    if (end - at < static_cast<std::ptrdiff_t>(headBytes) || at[0] != 1) {
        return std::nullopt;
    }
    ParameterSets sets;
    sets.lengthBytes = std::size_t{at[4]} % 4 + 1;
    at += headBytes;
    for (const BYTE countBits : {BYTE{0x1F}, BYTE{0xFF}}) {  // of sequence parameter sets, of picture parameter sets
        if (at == end) {
            return std::nullopt;
        }
        for (int count = *at++ & countBits; count > 0; --count) {
            const std::ptrdiff_t size = end - at < 2 ? end - at : at[0] << 8 | at[1];
            if (size > end - at - 2) {
                return std::nullopt;
            }
            sets.units.emplace_back(at + 2, at + 2 + size);
            at += 2 + size;
        }
    }
    return sets;
}

std::string ProblemOf(const ClipSample& sample, const FrameFacts& facts) {
    return sample.isCut                       ? "the file ends inside its sample"
           : !sample.damage.empty()           ? "its sample is damaged: " + sample.damage
           : facts.kind == FrameKind::Empty   ? "it has no mesh"
           : facts.kind == FrameKind::Damaged ? "its mesh is damaged: " + facts.layout.problem
                                              : "";
}

/// The rate whose times the frames have, if each is within a unit of the file's times.
std::optional<FrameRate> FindRate(const RemuxInput& input, double secondsOfTrack) {
    const std::vector<RemuxFrame>& frames = input.frames;
    if (frames.size() == 1) {
        return ExactFrameRate(secondsOfTrack > 1e-3 ? 1 / secondsOfTrack : c_DefaultRate, 0.01);
    }
    const auto units = static_cast<double>(frames.back().time - frames.front().time);
    const double unit = av_q2d(input.timeBase);
    const double mean = static_cast<double>(frames.size() - 1) / (units * unit);
    if (!(mean >= 0.001 && mean <= 1000)) {
        return std::nullopt;
    }
    const FrameRate rate = ExactFrameRate(mean, 2 * mean / units + 1e-6);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const double expected = static_cast<double>(i) / rate.Value() / unit;
        if (std::abs(static_cast<double>(frames[i].time - frames.front().time) - expected) > 1.001) {
            return std::nullopt;
        }
    }
    return rate;
}

class Look {
public:
    Look(const std::string& path, const std::function<void(const std::string&)>& warn)
        : m_Reader(path, ClipForm::Edited), m_Warn(warn) {
        m_Input.path = path;
        OpenVideo();
        OpenOthers();
    }

    RemuxInput Run(const std::function<void(std::size_t)>& onFrame) {
        ClipSample sample;
        while (m_Reader.Read(sample)) {
            if (sample.bytes.empty()) {
                ++m_EmptySamples;
            } else if (sample.track == m_Input.videoTrack) {
                TakeFrame(sample);
                onFrame(m_Input.frames.size());
            } else if (m_Input.sound && sample.track == m_Input.sound->track) {
                const ClipTrack& track = m_Reader.Tracks()[sample.track];
                m_Input.sound->times.push_back(static_cast<double>(TimeOf(sample)) *
                                               static_cast<double>(track.timeBaseNumerator) /
                                               static_cast<double>(track.timeBaseDenominator));
            }
        }
        End();
        return std::move(m_Input);
    }

private:
    [[noreturn]] void Fail(const std::string& text) const { throw InputError(m_Input.path + ": " + text); }

    void OpenVideo() {
        const std::optional<std::size_t> video = m_Reader.VideoTrack();
        if (!video) {
            Fail("has no video track, so it has no frames");
        }
        m_Input.videoTrack = *video;
        const ClipTrack& track = m_Reader.Tracks()[*video];
        m_Input.timeBase = {static_cast<int>(track.timeBaseNumerator), static_cast<int>(track.timeBaseDenominator)};
        m_Input.video = Copy(m_Reader.StoredParameters(*video));
        if (track.codec != "h264") {
            Fail("its pictures are " + track.codec + ", not H.264; they and the meshes in them were encoded again");
        }
        const std::optional<ParameterSets> sets = ReadParameterSets(*m_Input.video);
        if (!sets) {
            Fail("the description of its video track is damaged");
        }
        m_Input.parameterSets = *sets;
    }

    void OpenOthers() {
        for (std::size_t i = 0; i < m_Reader.Tracks().size(); ++i) {
            const ClipTrack& track = m_Reader.Tracks()[i];
            if (track.kind == ClipTrack::Kind::Audio && !m_Input.sound) {
                m_Input.sound = RemuxSound{i, Copy(m_Reader.StoredParameters(i)), {}};
            } else if (i != m_Input.videoTrack) {
                m_Warn("track " + std::to_string(i) + " (" + track.codec + ") is left out");
            }
        }
    }

    std::int64_t TimeOf(const ClipSample& sample) const {
        const std::optional<std::int64_t> time = sample.presentationTime ? sample.presentationTime : sample.decodeTime;
        if (!time) {
            Fail("sample " + std::to_string(sample.number) + " of track " + std::to_string(sample.track) +
                 " has no time");
        }
        return *time;
    }

    void TakeFrame(const ClipSample& sample) {
        RemuxFrame frame;
        FindMesh(sample, m_Mesh);
        frame.facts = DescribeFrame(sample, m_Mesh, m_Scanner);
        frame.time = TimeOf(sample);
        frame.problem = ProblemOf(sample, frame.facts);
        if (!m_Input.frames.empty() && frame.time <= m_Input.frames.back().time) {
            Fail("frame " + std::to_string(m_Input.frames.size()) +
                 " is shown before the one that is stored before it (B frames): players match pictures and meshes by "
                 "their order");
        }
        m_Input.frames.push_back(std::move(frame));
    }

    void End() {
        const std::vector<RemuxFrame>& frames = m_Input.frames;
        if (frames.empty()) {
            Fail("its video track has no frames");
        }
        if (std::none_of(frames.begin(), frames.end(), [](const RemuxFrame& f) { return f.facts.HasMesh(); })) {
            Fail("no frame has a mesh that can be read; encoding the pictures again loses all meshes");
        }
        if (m_EmptySamples != 0) {
            m_Warn(std::to_string(m_EmptySamples) + " empty samples are left out");
        }
        const std::size_t listed = m_Reader.Tracks()[m_Input.videoTrack].sampleCount;
        if (frames.size() + m_EmptySamples < listed) {
            m_Warn("only " + std::to_string(frames.size()) + " of the " + std::to_string(listed) +
                   " frames can be read" + (m_Reader.EndReason().empty() ? "" : ": " + m_Reader.EndReason()));
        }
        m_Input.rate = FindRate(m_Input, m_Reader.Tracks()[m_Input.videoTrack].seconds);
        if (m_Input.sound && m_Input.sound->times.empty()) {
            m_Input.sound.reset();
        }
    }

    ClipReader m_Reader;
    const std::function<void(const std::string&)>& m_Warn;
    RemuxInput m_Input;
    Nimb::Clip::SampleMesh m_Mesh;
    MeshFrameScanner m_Scanner;
    std::size_t m_EmptySamples = 0;
};

}  // namespace

bool RemuxSound::IsOfClips() const {
    // AAC's description begins with 5 bits for low complexity, 4 for 48000 Hz, 4 for stereo and 1 for 1024 a packet.
    return parameters->codec_id == AV_CODEC_ID_AAC && parameters->sample_rate == c_ClipSampleRate &&
           parameters->ch_layout.nb_channels == c_ClipChannels && parameters->extradata_size >= 2 &&
           parameters->extradata[0] == 0x11 && (parameters->extradata[1] & 0xFC) == 0x90;
}

double RemuxInput::Duration(std::size_t frame) const {
    if (rate) {
        return 1 / rate->Value();
    }
    const std::size_t from = std::min(frame, frames.size() - 2);  // irregular times are those of several frames
    return Seconds(from + 1) - Seconds(from);
}

RemuxInput LookThrough(const std::string& path, const std::function<void(std::size_t)>& onFrame,
                       const std::function<void(const std::string&)>& warn) {
    return Look(path, warn).Run(onFrame);
}

}  // namespace Nimb::Authoring
