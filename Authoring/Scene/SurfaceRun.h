// Consecutive frames of one surface, as captures deliver them: numbered anew in each file, and with slivers that come
// and go where quantisation lets vertices fall together.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/FaceDifference.h"
#include "Authoring/Scene/MatchRule.h"
#include "Authoring/Scene/VertexMatch.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace Nimb::Authoring {

struct RunRefinement;

/// What came of an attempt to put a frame into a run.
struct SurfaceMatch {
    bool joined = false;
    FaceDifference difference;  ///< from the run so far
    double distance = 0;        ///< when joined: the largest between the frame's surface and the one shown for it
};

/// What tells `mesh` from the frame `before` it, without regard to where its vertices are. A run may know better, since
/// it has seen more frames. std::invalid_argument for meshes whose arrays do not fit together.
FaceDifference CompareFaces(const Mesh& before, const Mesh& mesh);

/// Frames in one topology, which grows: where a frame tells vertices apart that coincide in all frames before it, the
/// vertex is split, and the slivers between are added. In the frames before they have no area.
class SurfaceRun {
public:
    /// std::invalid_argument for a mesh whose arrays do not fit together.
    explicit SurfaceRun(Mesh first, MatchRule rule = MatchRule::Surface);
    ~SurfaceRun();
    SurfaceRun(const SurfaceRun&) = delete;
    SurfaceRun& operator=(const SurfaceRun&) = delete;

    /// Adds the frame if the run's topology with the frame's positions shows the frame's surface: no point of either is
    /// further from the other than `limit`. Vertices correspond by their texture coordinates (within 2/65535); where
    /// several have the same, by their neighbours and by nearness to where they were in the frame before. Vertices that
    /// the frame lacks go where their neighbours go. Frames with the first one's faces and texture coordinates
    /// correspond vertex by vertex. All frames must have normals, or none. std::invalid_argument as above.
    SurfaceMatch Add(const Mesh& mesh, double limit);

    /// Completes the poses of all frames; Add must not be called after it.
    void Finish();

    // After Finish.
    const Mesh& Topology() const { return m_First; }  ///< the first frame, in the topology of all
    const std::vector<Pose>& Poses() const { return m_Poses; }

private:
    SurfaceMatch Join(Pose pose, double distance);
    Pose PoseOf(const RunRefinement& refined, const VertexMatch& match, const Mesh& mesh) const;
    void Grow(const RunRefinement& refined);

    const MatchRule m_Rule;
    Mesh m_First;                                 // with the vertices and faces added since
    std::size_t m_FirstVertices = 0;              // without them
    std::vector<UINT32> m_SplitFrom;              // of each vertex that was added
    std::vector<Pose> m_Poses;                    // of the vertices that the run had when the frame came
    std::vector<Vec3> m_LastPositions;            // of all vertices
    std::unique_ptr<const MatchTarget> m_Target;  // none: the topology has changed
};

}  // namespace Nimb::Authoring
