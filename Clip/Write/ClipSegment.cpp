#include "Clip/Write/ClipSegment.h"

#include "Authoring/Frame/SegmentEncoder.h"
#include "Authoring/Scene/TopologyMatch.h"
#include "NimbCore/NimbComPtr.h"
#include "NimbCore/NimbCrossPlatform.h"
#include "NimbCore/NimbMeshReader.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// One frame's meshes, by sub-mesh of the clip; those that do not occur in it have no faces.
struct FrameMeshes {
    std::vector<Mesh> meshes;
    std::vector<bool> newTopology;
};

/// Brings each mesh into the topology that its sub-mesh had before, where it is the same surface.
FrameMeshes Match(std::vector<Mesh> meshes, std::vector<Mesh>& references) {
    FrameMeshes out;
    out.newTopology.resize(meshes.size());
    for (std::size_t i = 0; i < meshes.size(); ++i) {
        if (meshes[i].faces.empty()) {
            out.meshes.emplace_back();
            continue;
        }
        std::optional<Mesh> matched;
        if (!references[i].faces.empty()) {
            matched = InTopologyOf(references[i], meshes[i]);
        }
        if (!matched) {
            references[i] = meshes[i];
            out.newTopology[i] = true;
        }
        out.meshes.push_back(matched ? std::move(*matched) : std::move(meshes[i]));
    }
    return out;
}

Moment MomentOf(const FrameMeshes& frame, const std::vector<PlacedSubMesh>& subMeshes) {
    Moment moment;
    for (std::size_t i = 0; i < subMeshes.size(); ++i) {
        if (!frame.meshes[i].faces.empty()) {
            moment.push_back(
                {&frame.meshes[i], static_cast<UINT32>(i), subMeshes[i].textureTransform, frame.newTopology[i]});
        }
    }
    if (moment.empty()) {
        // A moment without triangles is still a frame: players show nothing then, and stay in step.
        moment.push_back({&frame.meshes.front(), 0, subMeshes.front().textureTransform, true});
    }
    return moment;
}

/// Decodes frames as a player does.
class FrameCheck {
public:
    FrameCheck() {
        m_Reader.Initialize(NIMBCORE::CComPtr<INimbBufferAllocator>(new NimbCrossPlatform::BufferAllocator),
                            c_VertexFormat);
    }

    void Run(const EncodedFrame& frame, double errorLimit) {
        auto bytes = std::make_unique<BYTE[]>(frame.bytes.size());
        std::copy(frame.bytes.begin(), frame.bytes.end(), bytes.get());
        const NIMBCORE::CComPtr<NimbCrossPlatform::Stream> stream(
            new NimbCrossPlatform::Stream(std::move(bytes), static_cast<UINT32>(frame.bytes.size()), 0));
        NIMBCORE::CComPtr<INimbBuffer> vertices, indices;
        if (Failed(m_Reader.ReadMesh(stream, 0, &vertices, &indices))) {
            throw std::logic_error("the decoder refuses the encoded frame");
        }
        UINT32 vertexBytes = 0, indexBytes = 0;
        vertices->GetSize(&vertexBytes);
        indices->GetSize(&indexBytes);
        if (vertexBytes != frame.numVertices * Nimb::CNimbMeshReader::VertexStride(c_VertexFormat) ||
            indexBytes != frame.numIndices * sizeof(UINT32)) {
            throw std::logic_error("the encoded frame decodes to another size");
        }
        if (frame.maxError > errorLimit) {
            throw std::logic_error("the encoded frame misses the error limit by " +
                                   std::to_string(frame.maxError - errorLimit));
        }
    }

private:
    static constexpr UINT32 c_VertexFormat = 13;  // what players ask for: floats

    Nimb::CNimbMeshReader m_Reader;
};

}  // namespace

std::vector<EncodedFrame> EncodeClipSegment(const SubMeshSource& source, const std::vector<PlacedSubMesh>& subMeshes,
                                            const Segment& segment, const CodingOptions& options,
                                            const std::atomic<bool>& stop) {
    std::vector<FrameMeshes> frames;
    std::vector<Mesh> references(subMeshes.size());
    for (std::size_t i = 0; i < segment.count; ++i) {
        if (stop) {
            return {};
        }
        std::vector<Mesh> loaded = source.Load(segment.first + i);
        std::vector<Mesh> meshes;
        for (const PlacedSubMesh& placed : subMeshes) {
            meshes.push_back(std::move(loaded[placed.subMesh]));
        }
        frames.push_back(Match(std::move(meshes), references));
    }
    std::vector<Moment> moments;
    for (const FrameMeshes& frame : frames) {
        moments.push_back(MomentOf(frame, subMeshes));
    }
    std::size_t checked = 0;
    try {
        std::vector<EncodedFrame> encoded = EncodeSegment(moments, options);
        FrameCheck check;
        for (; checked < encoded.size(); ++checked) {
            check.Run(encoded[checked], options.maxError);
        }
        return encoded;
    } catch (const std::invalid_argument& error) {
        throw InputError(source.Source().FrameName(segment.first) + " and the frames after it: " + error.what());
    } catch (const std::logic_error& error) {
        throw std::logic_error(source.Source().FrameName(segment.first + checked) + ": " + error.what());
    }
}

}  // namespace Nimb::Authoring
