// How the tracks of a clip are encoded.
#pragma once

#include <cstdint>
#include <string>

namespace Nimb::Authoring {

/// Whether a picture is a key picture: as the encoder thinks best within the interval, or for certain, or for certain
/// not.
enum class KeyPicture { Open, Here, Never };

/// H.264, 4:2:0, without reordered frames.
struct VideoTrackOptions {
    int width = 0;  ///< both even, from 16 to 4096: 4:2:0 has no odd sizes, and padding would move texture coordinates
    int height = 0;
    int frameRateNumerator = 30;
    int frameRateDenominator = 1;
    int keyFrameInterval = 30;  ///< frames from one key picture to the next, at most; 0: only where they are asked for
    double quality = 20;        ///< constant rate factor, 0 (lossless) to 51; unless there is a bit rate
    std::int64_t bitRate = 0;   ///< bits a second; 0: constant quality
    std::string preset = "medium";  ///< a preset of libx264: its speed against size
    int threads = 0;                ///< 0: one for each core
};

/// AAC, 48000 samples a second, stereo.
struct AudioTrackOptions {
    std::int64_t bitRate = 160000;
};

}  // namespace Nimb::Authoring
