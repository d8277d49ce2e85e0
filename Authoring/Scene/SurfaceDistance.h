// How far two surfaces are apart, as far as it matters: whether no point of one is further from the other than a limit.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <optional>
#include <vector>

namespace Nimb::Authoring {

struct SurfaceView {
    const std::vector<Vec3>& positions;
    const std::vector<TarnMeshFace>& faces;
};

/// The largest distance of a point of the faces `numbers` of `from` from the surface `to`; none when it is above
/// `limit`. The value is exact but for `limit` / 16. A triangle that is thicker than the limit is measured to triangles
/// that look the same way: a surface and its inside are not the same. None, too, when it would take more than about
/// half a second, as with triangles by the thousand that are as large as the mesh. All coordinates must be finite.
std::optional<double> LargestDistance(const SurfaceView& from, const std::vector<UINT32>& numbers,
                                      const SurfaceView& to, double limit);

}  // namespace Nimb::Authoring
