// What a clip consists of, frame by frame and in all, without decoding its meshes and pictures.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Codec/XtraAttributes.h"
#include "Clip/Read/ClipReader.h"
#include "Clip/Read/MeshFrameScanner.h"
#include "NimbClip/SampleMesh.h"

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace Nimb::Authoring {

enum class FrameKind {
    Empty,    ///< no mesh that the locator finds
    Damaged,  ///< a mesh whose sections cannot be told apart
    Key,
    Delta,
    Temporal,
};
constexpr std::size_t c_FrameKinds = 5;

/// "empty", "damaged", "key", "delta", "temporal".
const char* FrameKindName(FrameKind kind);

struct FrameFacts {
    std::size_t number = 0;
    double seconds = 0;
    UINT64 offset = 0;  ///< of the sample in the file
    bool isKeyPicture = false;
    FrameKind kind = FrameKind::Empty;
    UINT64 meshOffset = 0;  ///< of the mesh unit in the file
    UINT64 meshBytes = 0;   ///< of the sample: the mesh unit with the length before it
    UINT64 videoBytes = 0;  ///< the sample's other bytes
    MeshFrameLayout layout;

    bool HasMesh() const { return kind >= FrameKind::Key; }
};

/// A frame's facts. `scanner` must have seen all frames before it.
FrameFacts DescribeFrame(const ClipSample& sample, const Nimb::Clip::SampleMesh& mesh, MeshFrameScanner& scanner);

/// What the attribute atom of a clip should say, from its frames.
class AttributeFinder {
public:
    void Count(const FrameFacts& facts);

    /// None when no frame had a mesh.
    std::optional<FileAttributes> Attributes() const;

private:
    FileAttributes m_Values;
    bool m_HasMesh = false;
    std::optional<Box> m_Box;  // without boxes that damage has turned inside out
};

/// Reads the clip to its end, fragmented ones too: players play them. None when no frame has a mesh. Throws InputError
/// as ClipReader does.
std::optional<FileAttributes> FindAttributes(const std::string& path);

/// Some frames, and how many bytes of the file they take.
struct Share {
    std::size_t frames = 0;
    UINT64 bytes = 0;
};

struct ClipSummary {
    std::size_t frames = 0;
    double seconds = 0;
    UINT64 fileBytes = 0;
    UINT64 meshBytes = 0;
    UINT64 videoBytes = 0;
    UINT64 audioBytes = 0;
    UINT64 OverheadBytes() const { return fileBytes - meshBytes - videoBytes - audioBytes; }  ///< index, atom, the rest

    std::size_t keyFrames = 0;                   ///< frames that build on nothing, temporal ones among them
    std::array<Share, c_FrameKinds> kinds;       ///< meshes alone
    std::map<std::string, Share> vertexCodings;  ///< by name, bytes of sections alone; every sub-frame counts
    std::map<std::string, Share> indexCodings;   ///< likewise, where there is an index section
    UINT64 vertices = 0;                         ///< of all frames together
    UINT32 maxVertices = 0;                      ///< of any frame
    UINT32 maxFaces = 0;
    UINT32 maxIndices = 0;
    std::size_t maxSubMeshes = 0;
    std::optional<Box> box;  ///< the smallest that holds the frames' boxes

    double BitsPerVertex() const {
        return vertices != 0 ? 8.0 * static_cast<double>(meshBytes) / static_cast<double>(vertices) : 0;
    }
};

/// Reads the clip to its end. Throws InputError when it has no video, and as ClipMeshes does.
ClipSummary InspectClip(ClipReader& reader, const std::function<void(const FrameFacts&)>& onFrame);

}  // namespace Nimb::Authoring
