// The index of an MP4 file (ISO/IEC 14496-12): which samples its video and its sound have, where, and when.
#pragma once

#include "NimbClip/ByteSource.h"

#include <cstdint>
#include <vector>

namespace Nimb {
namespace Clip {

struct Sample {
    std::uint64_t offset = 0;  ///< in the file, which may have been cut off before the sample's end
    std::uint32_t size = 0;
    bool isKey = false;
    std::int64_t time = 0;  ///< of presentation, in the track's units, edit list applied
    std::int64_t duration = 0;
};

struct Track {
    std::uint32_t timeScale = 0;  ///< units in a second; above 0
    std::vector<Sample> samples;
    Bytes configuration;  ///< H.264: AVCDecoderConfigurationRecord; AAC: AudioSpecificConfig

    // Video.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t lengthSize = 4;  ///< bytes of the length before each NAL unit: 1, 2 or 4
    Bytes parameterSets;           ///< with start codes

    // Sound.
    std::uint32_t sampleRate = 0;
    std::uint32_t channels = 0;
};

struct Mp4Index {
    Track video;
    Track sound;  ///< without samples: there is none that can be handed out
};

/// The first H.264 track and the first AAC track. Throws ClipFault: NOT_A_CLIP, UNSUPPORTED (fragments), DAMAGED, or
/// what reading throws. Sound that is damaged is left out. Reads the boxes' headers and the index, nothing else. Memory
/// is bounded by the index' size and by 4 million samples a track.
Mp4Index ReadMp4Index(const ByteSource& source);

}  // namespace Clip
}  // namespace Nimb
