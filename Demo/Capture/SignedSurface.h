// On which side of a triangle surface a point is, and how far from it.
#pragma once

#include "Authoring/Surface/ClosestPoint.h"
#include "Authoring/Surface/Pseudonormals.h"
#include "Demo/Space.h"

#include <optional>
#include <vector>

namespace Nimb::Authoring::Capture {

using Demo::Point;

/// A connected piece. Closed pieces are solid, whichever way their faces look; open ones are shells.
class SignedSurface {
public:
    /// `positions`: each place once. `thickness`: of shells, in metres. Keeps nothing of the arguments.
    SignedSurface(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces, double thickness);

    struct Nearest {
        SurfacePoint point;
        double distance;  ///< negative inside
    };
    /// No point when the surface is `limit` away, or further.
    Nearest To(const Point& p, double limit) const;

private:
    ClosestPoint m_Tree;
    double m_Thickness;
    std::optional<Pseudonormals> m_Normals;  // of a closed piece
    double m_Sign = 1;                       // -1: its faces look inwards
};

}  // namespace Nimb::Authoring::Capture
