// The picture of one surface, drawn anew into the charts of another one near it.
#pragma once

#include "Authoring/Scene/Image.h"
#include "Authoring/Track/ChartTexels.h"
#include "Authoring/Track/TexturedSurface.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

struct BakedTexture {
    Image picture;
    std::size_t covered = 0;  ///< texels that triangles are drawn with
    std::size_t unseen = 0;   ///< of these, such that see nothing of the source: filled from those around them
};

/// Each place shows the colour of the source where it is nearest, among faces that look the same way and within
/// `reach` (metres) of the place on the surface: texels are such that players, which filter them, come as near to that
/// as can be (see TexelFit). Texels that see nothing, and those outside the charts, are filled smoothly from those
/// around them, so that neither filtering nor video brings foreign colours into a chart.
///
/// `faces` are those that the charts were made of, `positions` where their vertices are now. One thread; the result
/// depends on the arguments alone.
BakedTexture BakeTexture(const ChartTexels& charts, const std::vector<TarnMeshFace>& faces,
                         const std::vector<Vec3>& positions, const TexturedSurface& source, double reach);

/// How far a baked surface shows other colours than its source does: the mean squared difference of luma, 0 to 255^2,
/// at places all over the source's faces and the nearest ones of the baked surface. 0 when none is within `reach`.
double SquaredLumaError(const TexturedSurface& source, const TexturedSurface& baked, double reach);

}  // namespace Nimb::Authoring
