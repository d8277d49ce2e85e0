#include "Clip/Write/MeshSegment.h"

#include "Authoring/Frame/SegmentEncoder.h"
#include "Authoring/Scene/SurfaceRun.h"
#include "Clip/Write/OrderedTasks.h"
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

/// A sub-mesh of the clip over a segment.
class SubMeshRuns {
public:
    explicit SubMeshRuns(MatchRule rule) : m_Rule(rule) {}

    /// The next frame's mesh; without faces when the sub-mesh does not occur in it. `begins`: it is known not to go on
    /// with the run.
    void Add(Mesh mesh, double limit, bool begins) {
        Place& place = m_Places.emplace_back();
        if (mesh.faces.empty()) {
            return;
        }
        if (!m_Runs.empty() && !begins) {
            place.match = m_Runs.back()->Add(mesh, limit);
        }
        if (!place.match.joined) {
            m_Runs.push_back(std::make_unique<SurfaceRun>(std::move(mesh), m_Rule));
            m_Count = 0;
        }
        place.run = m_Runs.size();
        place.pose = m_Count++;
    }

    void Finish() {
        for (const std::unique_ptr<SurfaceRun>& run : m_Runs) {
            run->Finish();
        }
    }

    // After Finish.
    bool Occurs(std::size_t frame) const { return m_Places[frame].run != 0; }
    const Mesh& Topology(std::size_t frame) const { return m_Runs[m_Places[frame].run - 1]->Topology(); }
    const Pose& PoseOf(std::size_t frame) const {
        return m_Runs[m_Places[frame].run - 1]->Poses()[m_Places[frame].pose];
    }
    bool IsNew(std::size_t frame) const { return !m_Places[frame].match.joined; }
    const SurfaceMatch& Match(std::size_t frame) const { return m_Places[frame].match; }

    double LargestDistance() const {
        double largest = 0;
        for (const Place& place : m_Places) {
            largest = std::max(largest, place.match.distance);
        }
        return largest;
    }

private:
    struct Place {
        std::size_t run = 0;  // from 1 on; 0: none
        std::size_t pose = 0;
        SurfaceMatch match;  // with the run that was last before it
    };

    const MatchRule m_Rule;
    std::vector<std::unique_ptr<SurfaceRun>> m_Runs;
    std::size_t m_Count = 0;  // of the last run's frames
    std::vector<Place> m_Places;
};

Moment MomentOf(const std::vector<SubMeshRuns>& runs, const std::vector<PlacedSubMesh>& subMeshes, std::size_t frame) {
    static const Mesh s_NoTriangles;
    Moment moment;
    for (std::size_t i = 0; i < subMeshes.size(); ++i) {
        if (runs[i].Occurs(frame)) {
            SubMesh subMesh;
            subMesh.mesh = &runs[i].Topology(frame);
            subMesh.pose = &runs[i].PoseOf(frame);
            subMesh.id = static_cast<UINT32>(i);
            subMesh.textureTransform = subMeshes[i].textureTransform;
            subMesh.newTopology = runs[i].IsNew(frame);
            moment.push_back(subMesh);
        }
    }
    if (moment.empty()) {
        // A moment without triangles is still a frame: players show nothing then, and stay in step.
        SubMesh subMesh;
        subMesh.mesh = &s_NoTriangles;
        subMesh.textureTransform = subMeshes.front().textureTransform;
        subMesh.newTopology = true;
        moment.push_back(subMesh);
    }
    return moment;
}

/// Why a frame inside a segment is a key frame: of the sub-meshes that begin anew, the one that differs least.
KeyFrameReason ReasonInside(const std::vector<SubMeshRuns>& runs, std::size_t frame) {
    std::optional<FaceDifference> least;
    for (const SubMeshRuns& subMesh : runs) {
        if (subMesh.Occurs(frame) && subMesh.IsNew(frame)) {
            const FaceDifference& difference = subMesh.Match(frame).difference;
            least = !least || difference.Share() < least->Share() ? difference : *least;
        }
    }
    using Cause = KeyFrameReason::Cause;
    return least ? KeyFrameReason{Cause::NewTopology, *least, {}} : KeyFrameReason{Cause::ErrorLimit, {}, {}};
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

std::vector<SegmentFrame> EncodeMeshSegment(const SubMeshSource& source, const std::vector<PlacedSubMesh>& subMeshes,
                                            const MeshSegment& segment, const TrackedStretch* pTracked,
                                            const SegmentOptions& options, const std::atomic<bool>& stop) {
    std::vector<SubMeshRuns> runs;
    for (std::size_t i = 0; i < subMeshes.size(); ++i) {
        runs.emplace_back(options.match);
    }
    const auto beginsRun = [&](std::size_t i) { return pTracked != nullptr && pTracked->BeginsRun(segment.first + i); };
    OrderedTasks<std::vector<Mesh>> loads(
        "nimb load", segment.count, options.threads, options.threads + 1, [&](std::size_t i, const std::atomic<bool>&) {
            return pTracked != nullptr ? pTracked->Load(segment.first + i) : source.Load(segment.first + i);
        });
    for (std::size_t i = 0; i < segment.count; ++i) {
        std::vector<Mesh> loaded = loads.Next([] {});
        if (stop) {
            return {};
        }
        for (std::size_t k = 0; k < subMeshes.size(); ++k) {
            runs[k].Add(std::move(loaded[subMeshes[k].subMesh]), options.surfaceLimit, beginsRun(i));
        }
    }
    for (SubMeshRuns& subMesh : runs) {
        subMesh.Finish();
    }
    std::vector<Moment> moments;
    for (std::size_t i = 0; i < segment.count; ++i) {
        moments.push_back(MomentOf(runs, subMeshes, i));
    }
    CodingOptions coding = options.coding;
    for (const SubMeshRuns& subMesh : runs) {
        coding.maxError = std::min(coding.maxError, options.coding.maxError - subMesh.LargestDistance());
    }
    std::size_t checked = 0;
    try {
        std::vector<SegmentFrame> frames;
        FrameCheck check;
        for (EncodedFrame& encoded : EncodeSegment(moments, coding)) {
            check.Run(encoded, coding.maxError);
            SegmentFrame& frame = frames.emplace_back();
            frame.surfaceError = encoded.maxError;
            for (const SubMeshRuns& subMesh : runs) {
                frame.surfaceError = std::max(frame.surfaceError, encoded.maxError + subMesh.Match(checked).distance);
            }
            if (encoded.isKeyFrame) {
                frame.keyReason = checked == 0         ? segment.reason
                                  : beginsRun(checked) ? pTracked->ReasonOf(segment.first + checked)
                                                       : ReasonInside(runs, checked);
            }
            frame.encoded = std::move(encoded);
            ++checked;
        }
        return frames;
    } catch (const std::invalid_argument& error) {
        throw InputError(source.Source().FrameName(segment.first) + " and the frames after it: " + error.what());
    } catch (const std::logic_error& error) {
        throw std::logic_error(source.Source().FrameName(segment.first + checked) + ": " + error.what());
    }
}

}  // namespace Nimb::Authoring
