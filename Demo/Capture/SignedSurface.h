// On which side of a triangle surface a point is, and how far from it.
#pragma once

#include "Authoring/Surface/ClosestPoint.h"
#include "Demo/Space.h"

#include <array>
#include <map>
#include <utility>
#include <vector>

namespace Nimb::Authoring::Capture {

using Demo::Point;

/// A connected piece. Closed pieces are solid, whichever way their faces look; open ones are shells.
class SignedSurface {
public:
    /// `positions`: each place once. `thickness`: of shells, in metres.
    SignedSurface(const std::vector<Vec3>& positions, std::vector<TarnMeshFace> faces, double thickness);

    struct Nearest {
        SurfacePoint point;
        double distance;  ///< negative inside
    };
    /// No point when the surface is `limit` away, or further.
    Nearest To(const Point& p, double limit) const;

private:
    using Edge = std::pair<UINT32, UINT32>;

    void AddNormals(const std::vector<Vec3>& positions);
    Point PseudonormalAt(const SurfacePoint& at) const;

    std::vector<TarnMeshFace> m_Faces;
    ClosestPoint m_Tree;
    double m_Thickness;
    bool m_IsClosed = false;
    double m_Sign = 1;
    std::vector<Point> m_FaceNormals;
    std::map<UINT32, Point> m_PointNormals;
    std::map<Edge, Point> m_EdgeNormals;
};

}  // namespace Nimb::Authoring::Capture
