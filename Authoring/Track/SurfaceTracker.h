// Follows the surface of a key frame from frame to frame.
#pragma once

#include "Authoring/Track/DeformationGraph.h"
#include "Authoring/Track/GraphFit.h"
#include "Authoring/Track/SurfaceDetail.h"
#include "Authoring/Track/TrackedSurface.h"

#include <memory>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// A key frame's surface and what moves it. Any thread may read it.
struct KeySurface {
    explicit KeySurface(const Mesh& mesh);

    WeldedSurface surface;
    Pseudonormals normals;
    DeformationGraph graph;
    DetailSolver detail;
};

/// A key frame's surface in another frame.
struct FittedFrame {
    Points positions;              ///< of the key surface's vertices
    Points normals;                ///< of the moved surface, as far as the graph turns it
    std::vector<double> offset;    ///< metres along the normal, from where the graph alone has it
    std::vector<double> leftOver;  ///< metres along the normal, from the fit to the frame's surface: noise of the frame
                                   ///< and of the key; NaN where the frame shows nothing
};

/// Belongs to one thread. Frames follow one another in time, forwards or backwards.
class SurfaceTracker {
public:
    /// Keeps a reference. Starts at the key frame.
    explicit SurfaceTracker(const KeySurface& key);

    FittedFrame Next(const TargetSurface& target);

private:
    void Predict(const TargetSurface& target);
    const ClosestPoint& ClosestTo(const Points& moved);
    void AddForward(const TargetSurface& target, double reach, std::size_t stride,
                    std::vector<PlaneConstraint>& constraints) const;
    void AddReverse(const TargetSurface& target, double reach, std::size_t stride,
                    std::vector<PlaneConstraint>& constraints);
    void FitDetail(const TargetSurface& target);
    std::vector<OffsetObservation> Observe(const std::vector<PlaneConstraint>& constraints) const;
    FittedFrame Fitted(const TargetSurface& target);

    glm::dvec3 RestOf(std::size_t vertex) const;
    glm::dvec3 Moved(std::size_t vertex) const;
    glm::dmat3 TurnOf(std::size_t vertex) const;
    glm::dvec3 NormalOf(std::size_t vertex, const GraphPose& pose) const;
    double Misfit(const TargetSurface& target, const GraphPose& pose) const;

    const KeySurface& m_Key;
    std::vector<std::unique_ptr<GraphFit>> m_Fits;  // one for each level: a matrix is much like the same level's before
    GraphPose m_Pose, m_Before, m_Expected;
    std::optional<ClosestPoint> m_Closest;  // to the moved surface; each frame has a tree of its own
    Points m_Offsets;                       // of each vertex at rest, from where the key frame has it
};

}  // namespace Nimb::Authoring
