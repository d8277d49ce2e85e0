// The meshes of a clip, through the library for random access: found, and decoded in the layout of the player, floats
// with normals.
#pragma once

#include "NimbClip/SampleMesh.h"

#include <cstddef>
#include <memory>
#include <string>

namespace Nimb::Authoring {

class ClipReader;
struct ClipSample;

/// In a sample as it was read, from whatever file. Players leave damaged samples out, and so their meshes.
void FindMesh(const ClipSample& sample, Nimb::Clip::SampleMesh& mesh);

struct DecodedVertex {
    float position[3];
    float normal[3];  ///< not filled in where the frame stores none
    float texCoord[2];
};

/// Views of what lives until the next call.
struct DecodedMesh {
    std::string error;        ///< why there is no mesh, in the core's words where it has some; empty: there is one
    UINT64 missingBytes = 0;  ///< by which the frame ended too early; the decoder took zeros for them
    UINT64 unusedBytes = 0;   ///< left over after the frame's end
    const DecodedVertex* vertices = nullptr;
    std::size_t vertexCount = 0;
    const UINT32* indices = nullptr;
    std::size_t indexCount = 0;
};

/// Belongs to one thread. Needs the core in its reporting mode; otherwise damage ends the process.
class ClipMeshes {
public:
    /// No frame has a mesh when the video is not H.264. Throws InputError when the library refuses the file: its index
    /// is damaged, or it is fragmented.
    explicit ClipMeshes(const ClipReader& reader);
    ~ClipMeshes();
    ClipMeshes(const ClipMeshes&) = delete;
    ClipMeshes& operator=(const ClipMeshes&) = delete;

    /// Of a sample of the video track. Lives until the next call. Throws InputError when the file cannot be read.
    const Nimb::Clip::SampleMesh& Find(const ClipSample& sample);

    // By the number of a sample of the video track.

    /// Does beforehand what Decode does besides decoding, for those who time it. Throws as above.
    void Prepare(std::size_t frame);

    /// Frames that build on a damaged one are decoded all the same, as players do. Throws as above.
    DecodedMesh Decode(std::size_t frame);

private:
    class Library;

    Nimb::Clip::SampleMesh m_Lost;       // of a sample that players leave out
    std::unique_ptr<Library> m_Library;  // null: there are no meshes
};

}  // namespace Nimb::Authoring
