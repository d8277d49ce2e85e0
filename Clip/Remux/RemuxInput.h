// The first look through a file that is to be written anew: its frames and their times, its sound, what is wrong with
// it.
#pragma once

#include "Authoring/Codec/ByteWriter.h"
#include "Clip/Read/ClipInspection.h"
#include "Clip/Write/FrameRate.h"
#include "Media/Av.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// What a decoder must know before the first picture.
struct ParameterSets {
    std::size_t lengthBytes = 0;  ///< before each unit of a sample
    std::vector<Bytes> units;     ///< sequence and picture parameter sets, in order

    bool operator==(const ParameterSets& other) const {
        return lengthBytes == other.lengthBytes && units == other.units;
    }
};

struct RemuxFrame {
    FrameFacts facts;
    std::int64_t time = 0;  ///< in units of RemuxInput::timeBase
    std::string problem;    ///< why players lose its mesh; empty: they do not

    /// Needs nothing of the frames before.
    bool IsStart() const { return facts.isKeyPicture && facts.HasMesh() && facts.layout.IsKeyFrame(); }
};

struct RemuxSound {
    std::size_t track = 0;
    Media::AvPtr<AVCodecParameters> parameters;
    std::vector<double> times;  ///< seconds, of each packet

    /// What players and Mp4Writer know: AAC, 48000 samples a second, stereo, 1024 of them a packet.
    bool IsOfClips() const;
};

struct RemuxInput {
    std::string path;
    std::size_t videoTrack = 0;
    Media::AvPtr<AVCodecParameters> video;
    ParameterSets parameterSets;
    AVRational timeBase{};
    std::vector<RemuxFrame> frames;  ///< at least one, and at least one of them has a mesh
    std::optional<FrameRate> rate;   ///< if the times are that rate's, but for rounding
    std::optional<RemuxSound> sound;

    double Seconds(std::size_t frame) const { return static_cast<double>(frames[frame].time) * av_q2d(timeBase); }
    /// From the frame to the next; the last one is as long as the one before it.
    double Duration(std::size_t frame) const;
};

/// `onFrame` gets the number of frames done; `warn` texts without the file's name. Throws InputError.
RemuxInput LookThrough(const std::string& path, const std::function<void(std::size_t)>& onFrame,
                       const std::function<void(const std::string&)>& warn);

}  // namespace Nimb::Authoring
