// Real clips for the tests: encoded meshes, libx264 and AAC.
#pragma once

#include "Authoring/Codec/XtraAttributes.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Clip/Write/Mp4Writer.h"
#include "Tests/Support/Files.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ClipTest {

struct ClipRecipe {
    int width = 64;
    int height = 64;
    int frameRate = 30;
    int frameCount = 30;
    int pictureKeyInterval = 10;
    int meshKeyInterval = 8;
    Nimb::Authoring::IndexCoding indices = Nimb::Authoring::IndexCoding::EdgeBreaker;
    std::optional<Nimb::Authoring::DeltaCoding> delta =
        Nimb::Authoring::DeltaCoding::Smallest;  ///< none: all are key frames
    int meshColumns = 12;
    int meshRows = 10;
    bool changesTopology = false;  ///< every second mesh key frame has one column more
    bool storeNormals = false;
    double audioSeconds = 0;
    bool hasAttributes = true;
    /// May change or clear the mesh that goes into the file, not those that later frames are predicted from.
    std::function<void(int number, Nimb::Authoring::Bytes& mesh)> damage;

    double Seconds() const { return static_cast<double>(frameCount) / frameRate; }
};

/// Writes the clip whose frames are numbered from 0 (see CounterFrame.h).
void MakeClip(const std::string& path, const ClipRecipe& recipe);

/// Two numbered sheets as one temporal frame: a key frame, or deltas to it.
Nimb::Authoring::EncodedFrame EncodeTemporal(Nimb::Authoring::FrameEncoder& encoder, int number, bool isDelta);

/// What the atom of a clip of these frames should say.
Nimb::Authoring::FileAttributes AttributesOf(const std::vector<Nimb::Authoring::EncodedFrame>& frames);

/// What a clip of given meshes has beside them.
struct ClipTracks {
    Nimb::Authoring::VideoTrackOptions video = SmallVideo(64, 64);
    std::function<std::vector<std::uint8_t>(int number)> paint;  ///< none: numbered pictures
    double audioSeconds = 0;

    static Nimb::Authoring::VideoTrackOptions SmallVideo(int width, int height);
};

void WriteClip(const std::string& path, const std::vector<Nimb::Authoring::EncodedFrame>& frames,
               const std::optional<Nimb::Authoring::FileAttributes>& attributes, const ClipTracks& tracks);
inline void WriteClip(const std::string& path, const std::vector<Nimb::Authoring::EncodedFrame>& frames) {
    WriteClip(path, frames, AttributesOf(frames), {});
}

}  // namespace ClipTest
