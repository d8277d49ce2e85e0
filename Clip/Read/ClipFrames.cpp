#include "Clip/Read/ClipFrames.h"

#include "Clip/Read/ClipMeshes.h"
#include "Clip/Read/ClipPictures.h"
#include "Clip/Read/MeshChecks.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// The most pictures that an H.264 decoder holds back before it puts out the first of them.
constexpr std::size_t c_MostHeldBack = 16;

std::size_t VideoTrackOf(const ClipReader& reader) {
    const std::optional<std::size_t> video = reader.VideoTrack();
    if (!video) {
        throw InputError(reader.Path() + ": has no video track, so it has no frames");
    }
    return *video;
}

void AppendFaces(const UINT32* indices, std::size_t count, bool isStrip, std::vector<TarnMeshFace>& faces) {
    for (std::size_t i = 0; count - i >= 3; i += isStrip ? 1 : 3) {
        TarnMeshFace face{{indices[i], indices[i + 1], indices[i + 2]}};
        if (isStrip && i % 2 != 0) {
            std::swap(face.v[0], face.v[1]);
        }
        if (face.v[0] != face.v[1] && face.v[1] != face.v[2] && face.v[2] != face.v[0]) {
            faces.push_back(face);
        }
    }
}

Mesh MakeMesh(const DecodedMesh& decoded, const MeshFrameLayout& layout) {
    Mesh mesh;
    const bool hasNormals = std::all_of(layout.subFrames.begin(), layout.subFrames.end(),
                                        [](const SubFrameLayout& sub) { return sub.hasNormals; });
    for (std::size_t i = 0; i < decoded.vertexCount; ++i) {
        const DecodedVertex& v = decoded.vertices[i];
        mesh.positions.push_back({v.position[0], v.position[1], v.position[2]});
        mesh.texCoords.push_back({v.texCoord[0], v.texCoord[1]});
        if (hasNormals) {
            mesh.normals.push_back({v.normal[0], v.normal[1], v.normal[2]});
        }
    }
    std::size_t begin = 0;
    for (const SubFrameLayout& sub : layout.subFrames) {
        const std::size_t count = std::min<std::size_t>(sub.header.m_numIndices, decoded.indexCount - begin);
        AppendFaces(decoded.indices + begin, count, sub.isStrip, mesh.faces);
        begin += count;
    }
    return mesh;
}

/// Brings together meshes, which come with their samples, and pictures, which may come later.
class FrameReader {
public:
    FrameReader(const std::string& path, const FrameRange& range, const std::function<void(ClipFrame&&)>& onFrame)
        : m_Reader(path),
          m_Video(VideoTrackOf(m_Reader)),
          m_Meshes(m_Reader),
          m_Pictures(m_Reader, m_Video, true),
          m_Range(range),
          m_OnFrame(onFrame) {}

    void Run() {
        ClipSample sample;
        std::size_t count = 0;
        while (count <= m_Range.last && m_Reader.Read(sample)) {
            if (sample.track == m_Video) {
                Take(sample);
                ++count;
            }
        }
        m_Pictures.Finish([this](ClipPicture&& picture) { Complete(std::move(picture)); });
        HandOut(SIZE_MAX);
        if (count <= m_Range.first) {
            throw InputError(m_Reader.Path() + ": has " + std::to_string(count) + " frames, so there is no frame " +
                             std::to_string(m_Range.first));
        }
    }

private:
    struct Waiting {
        ClipFrame frame;
        UINT64 offset = 0;
        bool isComplete = false;
    };

    bool IsWanted(std::size_t number) const { return number >= m_Range.first && number <= m_Range.last; }

    void Take(const ClipSample& sample) {
        Waiting waiting;
        waiting.frame.number = sample.number;
        waiting.offset = sample.offset;
        ReadMesh(sample, waiting.frame);
        if (IsWanted(sample.number)) {
            m_Waiting.emplace(sample.number, std::move(waiting));
        }
        const std::string problem =
            m_Pictures.Decode(sample, [this](ClipPicture&& picture) { Complete(std::move(picture)); });
        const auto it = m_Waiting.find(sample.number);
        if (!problem.empty() && it != m_Waiting.end()) {
            SetProblem(it->second.frame, sample.offset, "the picture cannot be decoded: " + problem);
            it->second.isComplete = true;
        }
        HandOut(sample.number - std::min(sample.number, c_MostHeldBack));
    }

    void ReadMesh(const ClipSample& sample, ClipFrame& frame) {
        const Nimb::Clip::SampleMesh& found = m_Meshes.Find(sample);
        const UINT64 offset = sample.offset + found.offset;
        if (!found.isFound) {
            return SetProblem(frame, offset,
                              found.unitCount == 0 ? "the sample has no mesh" : "the mesh unit cannot be read");
        }
        const MeshFrameLayout layout = m_Scanner.Scan(found.frame);
        if (!IsWanted(sample.number)) {
            return;
        }
        const DecodedMesh decoded = m_Meshes.Decode(sample.number);
        if (!decoded.error.empty() || decoded.missingBytes != 0) {
            return SetProblem(frame, offset,
                              "the mesh is damaged: " + (decoded.error.empty() ? "it ends too early" : decoded.error));
        }
        CheckMesh(decoded, layout, [&](const std::string& kind, const std::string& text) {
            if (kind == c_IndexRange || kind == c_NotANumber) {
                SetProblem(frame, offset, text);
            }
        });
        if (frame.problem.empty()) {
            frame.mesh = MakeMesh(decoded, layout);
        }
    }

    /// The first one stays.
    void SetProblem(ClipFrame& frame, UINT64 offset, const std::string& text) const {
        if (frame.problem.empty()) {
            frame.problem = m_Reader.Path() + ": frame " + std::to_string(frame.number) + ", byte " +
                            std::to_string(offset) + ": " + text;
        }
    }

    void Complete(ClipPicture&& picture) {
        const auto it = m_Waiting.find(picture.number);
        if (it != m_Waiting.end()) {
            it->second.frame.picture = std::move(picture.image);
            it->second.isComplete = true;
        }
    }

    /// Frames before number `end` no longer wait for their pictures.
    void HandOut(std::size_t end) {
        while (!m_Waiting.empty() && (m_Waiting.begin()->first < end || m_Waiting.begin()->second.isComplete)) {
            Waiting waiting = std::move(m_Waiting.extract(m_Waiting.begin()).mapped());
            if (!waiting.isComplete) {
                SetProblem(waiting.frame, waiting.offset, "the sample yields no picture");
            }
            m_OnFrame(std::move(waiting.frame));
        }
    }

    ClipReader m_Reader;
    const std::size_t m_Video;
    ClipMeshes m_Meshes;
    ClipPictures m_Pictures;
    const FrameRange m_Range;
    const std::function<void(ClipFrame&&)>& m_OnFrame;
    MeshFrameScanner m_Scanner;
    std::map<std::size_t, Waiting> m_Waiting;  // c_MostHeldBack at most, and the newest
};

}  // namespace

void ReadClipFrames(const std::string& path, const FrameRange& range, const std::function<void(ClipFrame&&)>& onFrame) {
    FrameReader(path, range, onFrame).Run();
}

std::size_t CountClipFrames(const std::string& path) {
    const ClipReader reader(path);
    return reader.Tracks()[VideoTrackOf(reader)].sampleCount;
}

}  // namespace Nimb::Authoring
