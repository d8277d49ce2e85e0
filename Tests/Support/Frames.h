// Encoded frames of small clips.
#pragma once

#include "Authoring/Codec/TextureTransform.h"
#include "Authoring/Frame/FrameEncoder.h"
#include "Tests/Support/Meshes.h"

#include <vector>

namespace NimbTest {

/// A key frame of the mesh, then the mesh on its way in delta frames with these options.
inline std::vector<Nimb::Authoring::Bytes> EncodeClip(const Nimb::Authoring::Mesh& mesh,
                                                      const Nimb::Authoring::KeyFrameOptions& key,
                                                      const std::vector<Nimb::Authoring::DeltaFrameOptions>& deltas) {
    Nimb::Authoring::FrameEncoder encoder;
    std::vector<Nimb::Authoring::Bytes> frames{encoder.KeyFrame(mesh, key).bytes};
    for (UINT32 i = 0; i < deltas.size(); ++i) {
        frames.push_back(encoder.DeltaFrame(Moved(mesh, i + 1), deltas[i]).bytes);
    }
    return frames;
}

/// How the two sub-meshes of a temporal frame are encoded.
struct TwoSubMeshes {
    UINT32 ids[2] = {1, 2};
    std::optional<Nimb::Authoring::IndexCoding> indices[2] = {};
    Nimb::Authoring::DeltaCoding deltas[2] = {};
    std::optional<std::array<float, 6>> transform = {};  ///< of the second one

    Nimb::Authoring::EncodedFrame Encode(Nimb::Authoring::FrameEncoder& encoder, const Nimb::Authoring::Mesh& first,
                                         const Nimb::Authoring::Mesh& second, bool isDelta) const {
        std::vector<Nimb::Authoring::SubFrame> frames(2);
        for (std::size_t i = 0; i < 2; ++i) {
            frames[i].mesh = i == 0 ? &first : &second;
            frames[i].key.subMeshId = ids[i];
            frames[i].key.indices = indices[i];
            if (isDelta) {
                frames[i].delta.emplace();
                frames[i].delta->subMeshId = ids[i];
                frames[i].delta->coding = deltas[i];
            }
        }
        frames[1].textureTransform = transform;
        return encoder.TemporalFrame(frames);
    }
};

}  // namespace NimbTest
